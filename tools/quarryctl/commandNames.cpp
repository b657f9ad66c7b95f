#include "tools/quarryctl/commandNames.h"

#include <algorithm>
#include <numeric>

namespace quarryctl {
namespace {

/// How many characters must be put in, left out or changed to make one word of the other (the Levenshtein distance).
std::size_t Distance(const std::string& from, const std::string& to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (const char character : from) {
    std::size_t diagonal = row[0]++;
    for (std::size_t index = 0; index < to.size(); ++index) {
      const std::size_t changed = diagonal + (to[index] == character ? 0 : 1);
      diagonal = row[index + 1];
      row[index + 1] = std::min({changed, diagonal + 1, row[index] + 1});
    }
  }
  return row.back();
}

}  // namespace

FoundCommand FindCommand(const CLI::App& parser, const std::vector<std::string>& words) {
  FoundCommand found = {&parser, {}};
  for (const std::string& word : words) {
    const std::vector<const CLI::App*> commands = found.command->get_subcommands({});
    if (commands.empty()) break;
    if (word.starts_with('-')) continue;
    const auto named = std::find_if(commands.begin(), commands.end(),
                                    [&word](const CLI::App* command) { return command->get_name() == word; });
    if (named == commands.end()) return {found.command, word};
    found.command = *named;
  }
  return found;
}

std::string SuggestCommand(const FoundCommand& found) {
  const std::string* nearest = nullptr;
  // Words that share less than half of their characters are not typing errors.
  std::size_t best = found.unknown.size() / 2 + 1;
  for (const CLI::App* const command : found.command->get_subcommands({})) {
    const std::string& name = command->get_name();
    const std::size_t distance = Distance(found.unknown, name);
    if (distance >= best) continue;
    best = distance;
    nearest = &name;
  }
  const std::string text = "there is no command \"" + found.unknown + '"';
  return nearest == nullptr ? text : text + ", did you mean \"" + *nearest + "\"?";
}

}  // namespace quarryctl
