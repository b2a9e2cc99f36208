#include "interpreter/common/actions.h"

namespace interp {

int nvram_fixed(Context& ctx, const Recogniser& r, char*) {
  ctx.nvram.set(r.key, r.value);
  if (r.key2) ctx.nvram.set(r.key2, r.value2);
  return 0;
}

int nvram_rest(Context& ctx, const Recogniser& r, char* rest) {
  ctx.nvram.set(r.key, rest);
  return 0;
}

int both_fixed(Context& ctx, const Recogniser& r, char*) {
  ctx.store(r.key, r.value);
  return 0;
}

int both_rest(Context& ctx, const Recogniser& r, char* rest) {
  ctx.store(r.key, rest);
  return 0;
}

}  // namespace interp
