// The commands of zmc. Each Add function declares a command's arguments and sets what runs when they have been read.
#pragma once

namespace CLI {
class App;
}

namespace zmc {

void AddEncode(CLI::App& command);
void AddDecode(CLI::App& command);
void AddTranscode(CLI::App& command);
void AddInfo(CLI::App& command);
void AddConvert(CLI::App& command);
void AddKernels(CLI::App& command);

}  // namespace zmc
