#pragma once

#include "presentation/words/Language.h"

/// The words of the command line.
namespace vantry::CommandLineWords {

inline constexpr BilingualText about{
    .zh =
        "显示 Codex 套餐额度还剩多少、何时恢复，以及 token 用在了哪里。\n"
        "不带参数时启动桌面程序（若已安装）。",
    .en =
        "Shows how much of Codex's plan quota is left and when it returns, and where tokens\n"
        "went. Without an argument the desktop application is started where it is installed."};
inline constexpr BilingualText usage{.zh = "用法", .en = "Usage"};
inline constexpr BilingualText options{.zh = "选项", .en = "Options"};
inline constexpr BilingualText option{.zh = "选项", .en = "OPTION"};
inline constexpr BilingualText command{.zh = "命令", .en = "COMMAND"};
inline constexpr BilingualText commands{.zh = "命令", .en = "Commands"};
inline constexpr BilingualText modes{.zh = "模式", .en = "Modes"};
inline constexpr BilingualText help{.zh = "显示本帮助", .en = "print this help"};
inline constexpr BilingualText version{.zh = "显示版本", .en = "print the version"};
inline constexpr BilingualText watch{.zh = "持续显示一行实时用量",
                                     .en = "keep a line with the current figures"};
inline constexpr BilingualText dump{.zh = "读取一次，以 JSON 输出全部结果",
                                    .en = "read once and print everything as JSON"};
inline constexpr BilingualText probe{
    .zh = "读取一次，以 JSON 输出状态与计数，不含标题与路径",
    .en = "read once and print states and counts as JSON, no titles"};
inline constexpr BilingualText dumpValues{.zh = "以 JSON 输出每个界面所显示的全部内容",
                                          .en = "print as JSON everything that any window shows"};
inline constexpr BilingualText state{.zh = "改为输出一个示例状态",
                                     .en = "of a made-up state instead of this machine"};
inline constexpr BilingualText language{.zh = "以何种语言输出", .en = "in that language"};
/// The name, and those that there are.
inline constexpr BilingualText unknownState{.zh = "vantry: 没有名为 {} 的状态。可用：{}",
                                            .en = "vantry: no state is called {}. There are: {}"};
inline constexpr BilingualText unknownLanguage{
    .zh = "vantry: 没有名为 {} 的语言。可用：zh en",
    .en = "vantry: no language is called {}. There are: zh en"};
inline constexpr BilingualText forgetGone{.zh = "清除已不存在的日志所留下的记录",
                                          .en = "forget what is kept of logs that are gone"};
inline constexpr BilingualText selfTests{.zh = "--self-test-NAME 运行内置自检：",
                                         .en = "--self-test-NAME runs built-in tests:"};
/// The argument.
inline constexpr BilingualText unknown{.zh = "vantry: 无法识别的参数: {}\n请参阅 vantry --help",
                                       .en = "vantry: unknown argument: {}\nSee vantry --help"};
inline constexpr BilingualText noDesktop{
    .zh = "vantry: 未安装桌面程序 vantry-desktop",
    .en = "vantry: the desktop application, vantry-desktop, is not installed"};
inline constexpr BilingualText nothingToRead{
    .zh = "vantry: 没有可读取的内容：VANTRY_RUNTIME_FILTER 未包含 codex",
    .en = "vantry: nothing to read: VANTRY_RUNTIME_FILTER leaves codex out"};
inline constexpr BilingualText notForgotten{
    .zh = "vantry: 无法更改已保存的日志记录",
    .en = "vantry: what is kept of the logs cannot be changed"};
/// The number of logs.
inline constexpr BilingualText forgotten{.zh = "已清除 {} 个不存在的日志",
                                         .en = "Forgot {} logs that are gone"};
inline constexpr BilingualText forgottenOne{.zh = "已清除 {} 个不存在的日志",
                                            .en = "Forgot {} log that is gone"};

}  // namespace vantry::CommandLineWords
