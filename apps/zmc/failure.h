// How zmc reports: a Failure ends the command with one line on stderr and exit status 1; Misuse with exit status 2.
#pragma once

#include <stdexcept>

namespace zmc {

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Misuse : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace zmc
