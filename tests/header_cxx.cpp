// The public header compiles alone as C++.
#include "zmcj.h"

int header_cxx_major();
int header_cxx_major() { return zmcjGetLibVersion()->major; }
