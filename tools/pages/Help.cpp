// SPDX-License-Identifier: MIT
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>
#include <utility>

#include "Pages.h"
#include "Words.h"

namespace pages {
namespace {

constexpr std::size_t kDescriptionsAt = 30;

// Of the terminal that standard output is; 80 else. Not too wide to read.
std::size_t lineWidth() {
  winsize size = {};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return std::clamp<std::size_t>(known ? size.ws_col : 80, kDescriptionsAt + 20, 100);
}

std::string wrapped(const std::string& text, std::size_t width) {
  std::istringstream words(text);
  std::string lines;
  std::size_t used = 0;
  for (std::string word; words >> word; used += word.size() + 1) {
    if (used > 0 && used + word.size() > width) {
      lines += '\n';
      used = 0;
    }
    if (used > 0) lines += ' ';
    lines += word;
  }
  return lines;
}

class Formatter final : public CLI::Formatter {
 public:
  Formatter() { column_width(kDescriptionsAt); }

  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string value = valueNameOf(*option);
    return value.empty() ? "" : ' ' + value;
  }
  std::string make_option_desc(const CLI::Option* option) const override {
    return fitting(descriptionOf(*option));
  }
  std::string make_subcommand(const CLI::App* command) const override {
    std::ostringstream line;
    CLI::detail::format_help(line, command->get_display_name(), fitting(command->get_description()),
                             kDescriptionsAt);
    return line.str();
  }
  // A command has no commands; there the options stand that it shares with the others.
  std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override {
    if (app->get_parent() == nullptr) return CLI::Formatter::make_subcommands(app, mode);
    auto shared = optionsOf(*app->get_parent());
    std::erase(shared, app->get_parent()->get_help_ptr());
    return make_group("Global options", false, shared);
  }

 private:
  static std::string fitting(const std::string& description) {
    return wrapped(description, lineWidth() - kDescriptionsAt);
  }
};

std::string pageOf(const CLI::App& app, const Manual& manual, const std::string& kind) {
  if (kind == "man") return manualPage(app, manual);
  if (kind == "bash") return bashCompletion(app);
  if (kind == "zsh") return zshCompletion(app);
  return fishCompletion(app);
}

}  // namespace

void addTo(CLI::App& app, Manual manual) {
  app.formatter(std::make_shared<Formatter>());
  app.add_option_function<std::string>("--page",
                                       [&app, manual = std::move(manual)](const std::string& kind) {
                                         std::cout << pageOf(app, manual, kind);
                                         throw CLI::Success();
                                       })
      ->check(CLI::IsMember({"man", "bash", "zsh", "fish"}))
      ->group("");
}

void addHelpCommand(CLI::App& app) {
  CLI::App* help = app.add_subcommand("help", "Show the help of a command");
  auto name = std::make_shared<std::string>();
  help->add_option("COMMAND", *name, "The command; without it, all are listed");
  help->callback([&app, name] {
    const auto show = [&](const CLI::App& one, const std::string& called) {
      std::cout << app.get_formatter()->make_help(&one, called, CLI::AppFormatMode::Normal);
    };
    if (name->empty()) return show(app, app.get_name());
    for (const CLI::App* command : commandsOf(app)) {
      if (command->get_name() == *name) return show(*command, app.get_name() + ' ' + *name);
    }
    throw CLI::ParseError(unknownCommand(app, *name), CLI::ExitCodes::ExtrasError);
  });
}

}  // namespace pages
