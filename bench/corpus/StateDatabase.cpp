#include "corpus/StateDatabase.h"

#include <cstdlib>
#include <fmt/format.h>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace vantry::corpus {

namespace {

constexpr std::string_view schema = R"sql(
PRAGMA journal_mode=WAL;
CREATE TABLE projects (
    id TEXT PRIMARY KEY, name TEXT NOT NULL, metadata TEXT NOT NULL DEFAULT '{}',
    position INTEGER NOT NULL, created_at_ms INTEGER NOT NULL, updated_at_ms INTEGER NOT NULL);
CREATE TABLE thread_sections (id TEXT PRIMARY KEY, name TEXT NOT NULL, appearance TEXT);
CREATE TABLE threads (
    id TEXT PRIMARY KEY,
    rollout_path TEXT NOT NULL,
    created_at INTEGER NOT NULL,
    updated_at INTEGER NOT NULL,
    source TEXT NOT NULL,
    model_provider TEXT NOT NULL,
    cwd TEXT NOT NULL,
    title TEXT NOT NULL,
    sandbox_policy TEXT NOT NULL,
    approval_mode TEXT NOT NULL,
    tokens_used INTEGER NOT NULL DEFAULT 0,
    has_user_event INTEGER NOT NULL DEFAULT 0,
    archived INTEGER NOT NULL DEFAULT 0,
    archived_at INTEGER,
    git_sha TEXT,
    git_branch TEXT,
    git_origin_url TEXT,
    cli_version TEXT NOT NULL DEFAULT '', first_user_message TEXT NOT NULL DEFAULT '',
    agent_nickname TEXT, agent_role TEXT, memory_mode TEXT NOT NULL DEFAULT 'enabled', model TEXT,
    reasoning_effort TEXT, agent_path TEXT, created_at_ms INTEGER, updated_at_ms INTEGER,
    thread_source TEXT, preview TEXT NOT NULL DEFAULT '', recency_at INTEGER NOT NULL DEFAULT 0,
    recency_at_ms INTEGER NOT NULL DEFAULT 0, history_mode TEXT NOT NULL DEFAULT 'legacy',
    name TEXT, is_pinned INTEGER NOT NULL DEFAULT 0,
    thread_section_id TEXT REFERENCES thread_sections(id) ON DELETE SET NULL,
    section_position INTEGER, section_entered_at_ms INTEGER,
    project_id TEXT REFERENCES projects(id) ON DELETE SET NULL, originator TEXT,
    daybreak_enabled BOOLEAN, creator_user_id TEXT, creator_account_id TEXT,
    attached_thread_parent_id TEXT);
CREATE INDEX idx_threads_created_at ON threads(created_at DESC, id DESC);
CREATE INDEX idx_threads_updated_at ON threads(updated_at DESC, id DESC);
CREATE INDEX idx_threads_archived ON threads(archived);
CREATE INDEX idx_threads_source ON threads(source);
CREATE INDEX idx_threads_recency_at_ms ON threads(recency_at_ms DESC, id DESC);
CREATE TRIGGER threads_created_at_ms_after_insert AFTER INSERT ON threads
WHEN NEW.created_at_ms IS NULL
BEGIN UPDATE threads SET created_at_ms = NEW.created_at * 1000 WHERE id = NEW.id; END;
CREATE TRIGGER threads_updated_at_ms_after_update AFTER UPDATE OF updated_at ON threads
WHEN NEW.updated_at != OLD.updated_at AND NEW.updated_at_ms IS OLD.updated_at_ms
BEGIN UPDATE threads SET updated_at_ms = NEW.updated_at * 1000 WHERE id = NEW.id; END;
CREATE TRIGGER threads_recency_at_after_insert AFTER INSERT ON threads
WHEN NEW.recency_at_ms = 0
BEGIN UPDATE threads SET recency_at = NEW.updated_at,
    recency_at_ms = COALESCE(NEW.updated_at_ms, NEW.updated_at * 1000) WHERE id = NEW.id; END;
BEGIN;
)sql";

std::string sqlText(std::string_view text) {
    std::string result = "'";
    for (const char letter : text) {
        if (letter == '\'') result += '\'';
        result += letter;
    }
    return result + "'";
}

std::string sqlValue(const std::optional<std::string>& text) {
    return text ? sqlText(*text) : "NULL";
}

std::string shellWord(std::string_view text) {
    std::string result = "'";
    for (const char letter : text) {
        if (letter == '\'') {
            result += "'\\''";
        } else {
            result += letter;
        }
    }
    return result + "'";
}

std::string insertion(const ThreadRow& row) {
    return fmt::format(
        "INSERT INTO threads (id, rollout_path, created_at, updated_at, source, model_provider, "
        "cwd, title, sandbox_policy, approval_mode, tokens_used, archived, archived_at, "
        "cli_version, first_user_message, model, created_at_ms, updated_at_ms, thread_source, "
        "preview, history_mode, name, originator) VALUES "
        "({}, {}, {}, {}, {}, 'openai', {}, {}, '{{\"type\":\"danger-full-access\"}}', 'never', "
        "{}, "
        "{}, {}, '0.169.0', {}, {}, {}, {}, {}, {}, {}, {}, 'codex');\n",
        sqlText(row.id), sqlText(row.rolloutPath), row.createdAt / second, row.updatedAt / second,
        sqlText(row.source), sqlText(row.cwd), sqlText(row.title), row.tokensUsed,
        row.archived ? 1 : 0, row.archived ? std::to_string(row.updatedAt / second) : "NULL",
        sqlText(row.title), sqlValue(row.model), row.createdAt, row.updatedAt,
        sqlValue(row.threadSource), sqlText(row.title), sqlText(row.historyMode),
        sqlValue(row.name));
}

}  // namespace

void writeStateDatabase(const std::filesystem::path& path, const std::vector<ThreadRow>& rows) {
    std::string script(schema);
    for (const ThreadRow& row : rows) script += insertion(row);
    script += "COMMIT;\n";
    const std::string scriptPath = path.string() + ".sql";
    std::ofstream(scriptPath, std::ios::binary) << script;

    const std::string command = fmt::format("sqlite3 -batch -bail {} <{} >/dev/null",
                                            shellWord(path.string()), shellWord(scriptPath));
    const int status = std::system(command.c_str());
    std::filesystem::remove(scriptPath);
    if (status != 0) throw std::runtime_error("sqlite3 did not make " + path.string());
}

}  // namespace vantry::corpus
