/* The public header compiles as strict C99 with every warning enabled. */
#include "olvm.h"

int olvm_header_is_c99_clean(void) { return olvResultOk; }
