/* The public header compiles alone as C99. */
#include "zmcj.h"

int header_c99_major(void);
int header_c99_major(void) { return zmcjGetLibVersion()->major; }
