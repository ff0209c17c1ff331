#include "commands/command_context.h"
#include "commands/operation_lookup.h"

#include <runtime/service_catalog.h>

#include <iostream>

namespace Cli {
namespace {

// Bash asks `nexar __complete` for the candidates of the word being typed, given the words
// before it; compgen then keeps those that start with what is typed.
constexpr char kBashScript[] =
    R"bash(# bash completion for nexar: source it, or put it in /etc/bash_completion.d/nexar
_nexar() {
  local current="${COMP_WORDS[COMP_CWORD]}"
  local candidates
  candidates="$(nexar __complete -- "${COMP_WORDS[@]:1:COMP_CWORD-1}" 2>/dev/null)"
  COMPREPLY=($(compgen -W "$candidates" -- "$current"))
}
complete -F _nexar nexar
)bash";

// The options whose next word is their value, not a command word.
bool TakesValue(std::string const& option) {
  return option == "--server" || option == "--ca-file" || option == "--output" || option == "--user" ||
         option == "--timeout";
}

void WriteCandidates(std::vector<std::string> const& before) {
  std::vector<std::string> words;
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (before[i].rfind("-", 0) == 0) {
      if (TakesValue(before[i]) && before[i].find('=') == std::string::npos) ++i;
      continue;
    }
    words.push_back(before[i]);
  }
  auto const& catalog = ::Opax::Catalog::ServiceCatalog::Instance();
  if (words.empty()) {
    for (char const* command : {"services", "describe", "call", "login", "logout", "task", "completion"}) {
      std::cout << command << "\n";
    }
  } else if ((words[0] == "describe" || words[0] == "call" || words[0] == "services") && words.size() == 1) {
    for (auto const* service : catalog.services()) std::cout << service->id << "\n";
  } else if ((words[0] == "describe" || words[0] == "call") && words.size() == 2) {
    if (auto const* service = catalog.Find(words[1])) {
      for (auto const& name : OperationNames(*service)) std::cout << name << "\n";
    }
  } else if (words[0] == "task" && words.size() == 1) {
    std::cout << "get\nwait\nlist\n";
  } else if (words[0] == "completion" && words.size() == 1) {
    std::cout << "bash\n";
  }
}

}  // namespace

void AddCompletionCommands(CLI::App& app, CommandContext& context) {
  auto* completion = app.add_subcommand("completion", "Print a shell completion script (bash)");
  auto shell = std::make_shared<std::string>();
  completion->add_option("shell", *shell, "The shell")->required()->check(CLI::IsMember({"bash"}));
  completion->callback([&context] {
    std::cout << kBashScript;
    context.exitCode = kExitOk;
  });
  // Hidden (no description): the completion script's question, not a command for people.
  auto* complete = app.add_subcommand("__complete", "");
  complete->group("");
  auto words = std::make_shared<std::vector<std::string>>();
  complete->add_option("words", *words);
  complete->callback([words, &context] {
    WriteCandidates(*words);
    context.exitCode = kExitOk;
  });
}

}  // namespace Cli
