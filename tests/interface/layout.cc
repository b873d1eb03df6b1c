// The same assertions, read by a C++ compiler.
#include "layout.c"
