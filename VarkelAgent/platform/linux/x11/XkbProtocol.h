#pragma once

// The protocol's header names a parameter with a C++ keyword.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
