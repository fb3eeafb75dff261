#include "headless/CommandLine.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <system_error>
#include <unistd.h>

#include "diagnostics/DebugLog.h"
#include "platform/Application.h"
#include "presentation/words/CommandLineWords.h"

namespace vantry {

namespace {

constexpr const char* lifecycleLaunch = "--codex-lifecycle-launch";

/// The arguments that there are, with their help.
std::unique_ptr<CLI::App> grammar(const std::vector<std::string_view>& selfTests,
                                  WidgetLanguage language) {
    const auto word = [language](const BilingualText& text) {
        return std::string(text.in(language));
    };
    auto app = std::make_unique<CLI::App>(word(CommandLineWords::about), "vantry");
    app->get_formatter()->label("OPTIONS", word(CommandLineWords::option));
    app->get_formatter()->label("SUBCOMMAND", word(CommandLineWords::command));
    app->get_formatter()->label("Usage", word(CommandLineWords::usage));
    app->set_help_flag("-h,--help", word(CommandLineWords::help));
    app->set_version_flag("--version", "vantry " + std::string(application::version),
                          word(CommandLineWords::version));
    for (CLI::Option* option : {app->get_help_ptr(), app->get_version_ptr()}) {
        option->group(word(CommandLineWords::options));
    }
    const auto addMode = [&](const std::string& name, const BilingualText& what) {
        const std::string description = word(what);
        app->add_flag(name, description)->group(word(CommandLineWords::modes));
    };
    addMode("--watch", CommandLineWords::watch);
    addMode("--dump-json", CommandLineWords::dump);
    addMode("--dump-probe-summary", CommandLineWords::probe);
    addMode("--dump-values", CommandLineWords::dumpValues);
    const auto addOption = [&](const char* name, const char* type, const BilingualText& what) {
        app->add_option_function<std::string>(
               name, [](const std::string&) {}, word(what))
            ->group(word(CommandLineWords::modes))
            ->type_name(type);
    };
    addOption("--state", "NAME", CommandLineWords::state);
    addOption("--language", "zh|en", CommandLineWords::language);
    app->add_subcommand("forget-gone", word(CommandLineWords::forgetGone))
        ->group(word(CommandLineWords::commands));
    app->add_flag(lifecycleLaunch)->group("");
    std::string footer = word(CommandLineWords::selfTests);
    for (const std::string_view argument : selfTests) {
        footer += " ";
        footer += argument.substr(argument.rfind("--self-test-") + 12);
    }
    app->footer(footer);
    return app;
}

}  // namespace

std::string helpText(const std::vector<std::string_view>& selfTests, WidgetLanguage language) {
    return grammar(selfTests, language)->help();
}

std::optional<CommandLineAnswer> commandLineAnswer(const std::vector<std::string_view>& arguments,
                                                   const std::vector<std::string_view>& selfTests,
                                                   WidgetLanguage language) {
    if (arguments.size() < 2) return std::nullopt;
    const auto unknown = [language](std::string_view argument) {
        return CommandLineAnswer{
            .status = 2, .error = inWords(CommandLineWords::unknown, language, argument) + "\n"};
    };
    const auto app = grammar(selfTests, language);
    app->allow_extras();
    // CLI11 takes the last argument first.
    std::vector<std::string> given(arguments.rbegin(), arguments.rend() - 1);
    try {
        app->parse(given);
    } catch (const CLI::CallForHelp&) {
        return CommandLineAnswer{.output = helpText(selfTests, language)};
    } catch (const CLI::CallForVersion& version) {
        return CommandLineAnswer{.output = std::string(version.what()) + "\n"};
    } catch (const CLI::ParseError&) {
        return unknown(arguments[1]);
    }
    // A mode that is written in another way than it is known by.
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        if (arguments[i] != lifecycleLaunch) return unknown(arguments[i]);
    }
    return std::nullopt;
}

void becomeDesktopApplication(char** arguments) {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) return;
    const std::filesystem::path desktop = program.parent_path() / "vantry-desktop";
    if (::access(desktop.c_str(), X_OK) == 0) ::execv(desktop.c_str(), arguments);
    debugLog("desktop application: not at " + desktop.string());
}

}  // namespace vantry
