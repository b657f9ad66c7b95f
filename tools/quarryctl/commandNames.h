#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace quarryctl {

/// A command that was looked for by the words of a command line.
struct FoundCommand {
  const CLI::App* command;  ///< the last one that there is
  std::string unknown;      ///< the word behind it that names none, empty when all do
};

/// Follows `words` from `parser` through its commands and theirs, up to one that has none. Options are left out.
FoundCommand FindCommand(const CLI::App& parser, const std::vector<std::string>& words);

/// What to say of a word that names no command: the one that was probably meant, if there is any.
std::string SuggestCommand(const FoundCommand& found);

}  // namespace quarryctl
