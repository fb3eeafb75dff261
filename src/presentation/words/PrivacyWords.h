#pragma once

#include "presentation/words/Language.h"

/// What is told before anything of Codex is read.
namespace vantry::PrivacyWords {

inline constexpr BilingualText title{.zh = "在读取 Codex 本机数据前",
                                     .en = "Before Vantry reads local Codex data"};
inline constexpr BilingualText reads{
    .zh =
        "继续后，Vantry 会在本机读取：Codex 账号额度与每日用量汇总；本机 Codex "
        "的线程标题或预览、工作目录、模型名称与会话索引；以及用于生成汇总统计的 token、工具与 "
        "Skill "
        "事件元数据。",
    .en =
        "After you continue, Vantry reads on this computer: the Codex account's quota and its "
        "aggregated daily usage; local Codex thread titles or previews, working directories, model "
        "names and session indexes; and token, tool and Skill event metadata used to create "
        "aggregate statistics."};
inline constexpr BilingualText doesNot{
    .zh =
        "Vantry 不读取 ~/.codex/auth.json "
        "或登录令牌，不解析提示词与回复正文，不上传用量、线程、路径、日志或账号数据，也不会自动检查"
        "或下载更新。",
    .en =
        "It does not read ~/.codex/auth.json or authentication tokens, does not parse prompts or "
        "response bodies, and does not upload usage, threads, paths, logs or account data. It does "
        "not check for or download updates by itself."};
/// The address of the website.
inline constexpr BilingualText website{
    .zh =
        "只有在你选择打开官方网站、隐私政策或许可页面时，浏览器才会访问 "
        "{}；该服务器可能保留基本日志（访"
        "问时间、请求路径、响应状态、IP 地址、客户端类型）。",
    .en =
        "A browser reaches {} only when you choose to open the official website, the privacy "
        "policy or the licence page; that server may keep basic logs: access time, request path, "
        "response status, IP address and client type."};
inline constexpr BilingualText noWebsite{
    .zh = "隐私政策与许可页面随程序安装在本机，打开它们不会访问网络。",
    .en =
        "The privacy policy and the licence are installed on this computer; opening them reaches "
        "no server."};
inline constexpr BilingualText proceed{.zh = "了解并继续", .en = "Continue"};
inline constexpr BilingualText policy{.zh = "查看隐私政策", .en = "Privacy Policy"};
inline constexpr BilingualText quit{.zh = "退出 Vantry", .en = "Quit Vantry"};

}  // namespace vantry::PrivacyWords
