// zmc: pictures to JPEG and back, on the library's public interface. This file is its table of commands.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "commands.h"
#include "failure.h"
#include "zmcj.h"

namespace {

struct Command {
  const char* name;
  const char* help;
  void (*add)(CLI::App& command);  // declares the arguments, and what runs when they have been read
};

constexpr Command kCommands[] = {
    {"encode", "a picture (PNG, PPM, PGM) to a JPEG file", zmc::AddEncode},
    {"decode", "a JPEG file to a picture (PNG, PPM, PGM)", zmc::AddDecode},
    {"transcode", "a JPEG file to another with the same coefficients", zmc::AddTranscode},
    {"info", "what a file holds", zmc::AddInfo},
    {"convert", "copy a picture from one picture format to another (PNG, PPM, PGM)", zmc::AddConvert},
    {"kernels", "tell which instruction-set level each kernel of the library uses on this machine", zmc::AddKernels},
};

// The statuses of the program: 0 is fine, 1 is a failure, 2 is misuse.
int Report(int status, const char* message) {
  std::fprintf(stderr, "zmc: %s\n", message);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("zmc: JPEG and JPEG 2000 codec");
  app.set_version_flag("--version", zmcjGetLibVersion()->Version);
  app.require_subcommand(1);
  for (const Command& command : kCommands) command.add(*app.add_subcommand(command.name, command.help));
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    return Report(2, error.what());
  } catch (const zmc::Misuse& error) {
    return Report(2, error.what());
  } catch (const zmc::Failure& error) {
    return Report(1, error.what());
  } catch (const std::bad_alloc&) {
    return Report(1, "not enough memory");
  }
  return std::fflush(stdout) == 0 ? 0 : Report(1, "cannot write to the standard output");
}
