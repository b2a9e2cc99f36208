// The doubles live in the header; this unit keeps the support library whole.
#include "support/fakes.h"
