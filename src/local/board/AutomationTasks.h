#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "records/TaskBoard.h"

/// Codex's automations: one folder each in `automations` of Codex's own folder, described by the
/// `automation.toml` in it. Reads block; any thread.
namespace vantry::CodexUsageReader {

/// The active automations of the Codex whose folder that is, in no order. A file that cannot be
/// read is left out and the others stay, as is one of more than 128 KiB or one behind a symbolic
/// link. Not more than 1,024 entries of the folder are looked at.
std::vector<TaskItem> readAutomationTasks(const std::filesystem::path& codexHome);

struct AutomationFile {
    std::string folderName;
    std::string_view contents;  ///< TOML
};

/// The scheduled item of one automation; nothing for one that is not active or not TOML. A time
/// that names no zone is no time.
std::optional<TaskItem> parseAutomationTask(const AutomationFile& file);

}  // namespace vantry::CodexUsageReader
