// The demonstration's JPEG 2000 rows.
#pragma once

#include <functional>
#include <string>

#include "picture.h"

namespace zmc::demo {

constexpr int kJ2kRows = 5;

// Prints a table: sizes, PSNR and speed beside the peer's, with one thread and with all. `show` gets each decoded
// picture, kJ2kRows in all.
void PrintJ2kRows(const Picture& picture, const std::function<void(const Picture&, const std::string&)>& show);

}  // namespace zmc::demo
