// An option of the command line that takes one of a few words.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

namespace zmc {

template <class Value>
void AddChoice(CLI::App& command, const std::string& name, Value& value,
               const std::vector<std::pair<std::string, Value>>& choices, const std::string& help) {
  std::string words;
  for (const auto& [word, meaning] : choices) words += (words.empty() ? "" : "|") + word;
  const auto choose = [&value, name, choices, words](const std::string& text) {
    for (const auto& [word, meaning] : choices) {
      if (word != text) continue;
      value = meaning;
      return;
    }
    throw CLI::ValidationError(name, "\"" + text + "\" is none of " + words);
  };
  command.add_option_function<std::string>(name, choose, help)->type_name(words);
}

}  // namespace zmc
