// wait_until lives in the header; this unit keeps the support library whole.
#include "support/wait.h"
