#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "presentation/words/Language.h"

namespace vantry {

/// What the command line answers by itself.
struct CommandLineAnswer {
    int status = 0;
    std::string output;
    std::string error;
};

/// The answer to a command line that names no mode: help, the version, or that an argument is not
/// known. Nothing where there is nothing to say: no argument, or the agent's alone. `arguments`
/// are the process's own, the program's name included; `selfTests` are named in the help.
std::optional<CommandLineAnswer> commandLineAnswer(const std::vector<std::string_view>& arguments,
                                                   const std::vector<std::string_view>& selfTests,
                                                   WidgetLanguage language);

/// The help.
std::string helpText(const std::vector<std::string_view>& selfTests, WidgetLanguage language);

/// Becomes the desktop application that is installed beside this program, with the same arguments.
/// Returns where there is none.
void becomeDesktopApplication(char** arguments);

}  // namespace vantry
