#include "zmcj.h"

namespace {

// The record is the binary interface's: it names the module as its 32-bit Windows build is called.
constexpr ZmcLibraryVersion kVersion = {4, 0, 19, 55, {'t', '7', '\0', '\0'}, "zmcjt7.dll", "v4.0", "Oct 15 2003"};

}  // namespace

const ZmcLibraryVersion* zmcjGetLibVersion(void) { return &kVersion; }
