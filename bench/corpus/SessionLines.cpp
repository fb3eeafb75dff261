#include "corpus/SessionLines.h"

#include <array>
#include <fmt/format.h>

namespace vantry::corpus {

namespace {

constexpr std::array<std::string_view, 8> prompts{
    R"(go on)",
    R"(Please fix the failing test in \"parser_test.cpp\".)",
    R"(# Files mentioned by the user:\n\n## notes.md: /home/user/notes.md\n\nSummarise it.)",
    R"(为什么这里会多计一次？)",
    R"(why does \"type\":\"token_count\" appear twice? 🤔)",
    R"(Rename `total_token_usage` everywhere.)",
    R"(Run the tests again)",
    R"(and now in C++)"};

std::string callPart(const ToolCall& call) {
    return call.callId.empty() ? std::string() : fmt::format(R"("call_id":"{}",)", call.callId);
}

}  // namespace

std::string makeUuid(Millis at, Random& random) {
    const std::uint64_t one = random.next();
    const std::uint64_t two = random.next();
    return fmt::format("{:08x}-{:04x}-7{:03x}-{:04x}-{:012x}", at >> 16, at & 0xffff, one & 0xfff,
                       0x8000 | (one >> 16 & 0x3fff), two & 0xffff'ffff'ffff);
}

std::string jsonText(std::string_view text) {
    std::string result = "\"";
    for (const char letter : text) {
        if (letter == '"' || letter == '\\' || letter == '\n') result += '\\';
        result += letter == '\n' ? 'n' : letter;
    }
    return result + '"';
}

std::string SessionLines::uuid(Millis at) {
    return makeUuid(at, random_);
}

void SessionLines::source(const Session& of, std::string_view parentId) {
    if (of.kind == SessionKind::guardian) {
        log_.add(R"("source":{"subagent":{"other":"guardian"}},)");
    } else if (of.namesSpawner) {
        log_.add(
            R"("source":{"subagent":{"thread_spawn":{"parent_thread_id":")", parentId,
            R"(","depth":1,"agent_path":null,"agent_nickname":"Lovelace","agent_role":null}}},)");
    } else {
        log_.add(R"("source":")", of.client, R"(",)");
        return;
    }
    if (paginated()) log_.add(R"("thread_source":"subagent",)");
}

void SessionLines::header(const Session& of, const Header& header) {
    const bool forked = !header.parentId.empty();
    const bool spawned = of.kind == SessionKind::subagent;
    log_.begin("session_meta", header.at);
    if (paginated()) {
        log_.add(R"("account_scoped":true,"session_id":")", spawned ? header.parentId : of.id,
                 R"(",)");
    }
    log_.add(R"("id":")", of.id, R"(",)");
    if (forked && (!spawned || of.carriesParentHeader) && !(of.namesSpawner && !paginated())) {
        log_.add(R"("forked_from_id":")", header.parentId, R"(",)");
    }
    if (!header.baseId.empty()) {
        log_.add(R"("forked_from_ordinal_exclusive":)", header.baseMark.ordinal, ",");
    }
    if (forked && spawned && paginated()) {
        log_.add(R"("parent_thread_id":")", header.parentId, R"(",)");
    }
    log_.add(R"("timestamp":")", timestampText(of.createdAt), R"(","cwd":)", jsonText(of.project),
             R"(,"originator":"codex_)", of.client, R"(","cli_version":")",
             paginated() ? "0.169.0" : "0.58.0", R"(",)");
    source(of, header.parentId);
    log_.add(R"("model_provider":"openai",)");
    const std::string_view instructions = filler_.prose(header.instructionBytes, random_);
    if (!paginated()) {
        log_.add(R"("instructions":")", instructions,
                 R"(","git":{"commit_hash":"0123456789abcdef","branch":"main"})");
        log_.end();
        return;
    }
    log_.add(R"("base_instructions":{"text":")", instructions,
             R"(","provenance":{"type":"model","model":"gpt-5.4"}},"history_mode":"paginated",)");
    if (!header.baseId.empty()) {
        log_.add(R"("history_base":{"thread_id":")", header.baseId, R"(","end_ordinal_exclusive":)",
                 header.baseMark.ordinal, R"(,"end_byte_offset":)", header.baseMark.offset, "},");
    }
    if (spawned && of.carriesParentHeader) log_.add(R"("subagent_history_start_ordinal":4,)");
    log_.add(R"("multi_agent_version":"v1","context_window":{"window_id":")", uuid(header.at),
             R"("})");
    log_.end();
}

void SessionLines::turnStarts(const Turn& turn) {
    turnId_ = uuid(turn.start);
    log_.begin("event_msg", turn.start);
    log_.add(R"("type":"task_started",)");
    if (paginated()) {
        log_.add(R"("turn_attribution":{"turn_id":")", turnId_,
                 R"(","turn_trigger":null,"parent_turn_id":null,"initiating_agent_path":null,)",
                 R"("root_turn_id":")", turnId_, R"("},"turn_id":")", turnId_,
                 R"(","root_turn_id":")", turnId_, R"(","started_at":)", turn.start / second, ",");
    }
    log_.add(R"("model_context_window":258400,"collaboration_mode_kind":"default")");
    log_.end();
}

void SessionLines::turnContext(const Turn& turn) {
    const Model& model = models[turn.model];
    log_.begin("turn_context", turn.start);
    if (paginated()) {
        log_.add(R"("turn_id":")", turnId_, R"(","root_turn_id":")", turnId_,
                 R"(","disabled_plugin_ids":[],)");
    }
    log_.add(R"("cwd":)", jsonText(session_.project), R"(,"approval_policy":"never",)");
    if (!model.json.empty()) log_.add(R"("model":)", model.json, ",");
    if (paginated()) {
        log_.add(
            R"("approvals_reviewer":"user","permission_profile":{"type":"disabled"},)",
            R"("collaboration_mode":{"mode":"default","settings":{"model":"gpt-0-nested",)",
            R"("reasoning_effort":null,"developer_instructions":null}},"multi_agent_version":"v1",)",
            R"("realtime_active":false,)");
    }
    log_.add(R"("summary":"auto","sandbox_policy":{"type":"danger-full-access"})");
    log_.end();
}

void SessionLines::turnEnds(const Turn& turn) {
    log_.begin("event_msg", turn.end());
    log_.add(R"("type":"task_complete","turn_id":")", turnId_,
             R"(","last_agent_message":"done","started_at":)", turn.start / second,
             R"(,"completed_at":)", turn.end() / second, R"(,"duration_ms":)",
             turn.end() - turn.start);
    log_.end();
}

void SessionLines::item(std::string_view type, Millis at) {
    log_.begin("response_item", at);
    log_.add(R"("type":")", type, R"(",)");
}

void SessionLines::endItem() {
    if (!paginated()) {
        log_.end();
        return;
    }
    ++historySequence_;
    log_.add(R"(,"internal_chat_message_metadata_passthrough":{"turn_id":")", turnId_,
             R"("}},"metadata":{"history_sequence":)", historySequence_,
             R"(,"sampled_through_sequence":)", historySequence_ - 1,
             R"(,"client_authored":false)");
    log_.end();
}

void SessionLines::userMessage(Millis at) {
    const std::string_view prompt = random_.pick(prompts);
    item("message", at);
    log_.add(R"("role":"user","content":[{"type":"input_text","text":")", prompt, R"("}])");
    endItem();
    log_.begin("event_msg", at);
    if (paginated()) {
        log_.add(R"("type":"item_completed","thread_id":")", session_.id, R"(","turn_id":")",
                 turnId_, R"(","item":{"type":"UserMessage","content":[{"type":"text","text":")",
                 prompt, R"(","text_elements":[]}]},"started_at_ms":)", at,
                 R"(,"completed_at_ms":)", at);
    } else {
        log_.add(R"("type":"user_message","message":")", prompt, R"(","kind":"plain")");
    }
    log_.end();
}

void SessionLines::agentMessage(Millis at) {
    log_.begin("event_msg", at);
    if (paginated()) {
        log_.add(R"("type":"item_completed","thread_id":")", session_.id, R"(","turn_id":")",
                 turnId_, R"(","item":{"type":"AgentMessage","content":[{"type":"Text",)",
                 R"("text":"done"}]},"started_at_ms":)", at, R"(,"completed_at_ms":)", at);
    } else {
        log_.add(R"("type":"agent_message","message":"done")");
    }
    log_.end();
    item("message", at);
    log_.add(R"("role":"assistant","content":[{"type":"output_text","text":"done"}])");
    endItem();
}

void SessionLines::settings(Millis at) {
    if (!paginated()) return;
    log_.begin("event_msg", at);
    log_.add(R"("type":"thread_settings_applied","thread_id":")", session_.id,
             R"(","thread_settings":{"model":"gpt-0-settings","model_provider_id":"openai","cwd":)",
             jsonText(session_.project),
             R"(,"collaboration_mode":{"mode":"default","settings":{"model":"gpt-0-settings"}}})");
    log_.end();
}

void SessionLines::surroundings(Millis at) {
    item("message", at);
    log_.add(R"("role":"developer","content":[{"type":"input_text","text":")",
             filler_.prose(2600, random_), R"("}])");
    endItem();
    item("message", at);
    log_.add(R"("role":"user","content":[{"type":"input_text","text":"<environment_context>\n)",
             R"(  <shell>bash</shell>\n  <timezone>Etc/UTC</timezone>\n</environment_context>"}])");
    endItem();
    if (!paginated()) return;
    log_.begin("world_state", at);
    log_.add(R"("full":true,"state":{"agents_md":{},"model":"gpt-0-world","host_skills":{"body":")",
             filler_.prose(2200, random_), R"(","includeInstructions":true}})");
    log_.end();
}

void SessionLines::toolCall(const ToolCall& call, Millis at) {
    const Tool& tool = tools[call.tool];
    item(tool.kind, at);
    log_.add(callPart(call), R"("name":")", tool.name, R"(",)");
    const bool isLong = random_.chance(0.05);
    const std::string& skills = call.skills.arguments;
    if (!skills.empty()) {
        const bool isCustom = tool.kind == "custom_tool_call";
        log_.add(isCustom ? R"("status":"completed","input":)" : R"("arguments":)",
                 jsonText(skills));
    } else if (tool.kind == "custom_tool_call") {
        log_.add(R"("status":"completed","input":"*** Begin Patch\n*** Update File: a.cpp\n)",
                 filler_.prose(isLong ? 8000 : 300, random_), R"(*** End Patch")");
    } else {
        log_.add(R"("arguments":"{\"cmd\": \"grep -rn \\\"token_count\\\" src | head\"})",
                 isLong ? filler_.prose(2000, random_) : "", R"(")");
    }
    endItem();
}

void SessionLines::toolOutput(const ToolCall& call, Millis at, std::size_t bytes) {
    const std::string_view text = filler_.prose(bytes, random_);
    if (paginated() && tools[call.tool].name == "exec_command" && random_.chance(0.3)) {
        log_.begin("event_msg", at);
        log_.add(
            R"("type":"item_completed","thread_id":")", session_.id, R"(","turn_id":")", turnId_,
            R"(","item":{"type":"CommandExecution","id":")", call.callId,
            R"(","command":["/bin/bash","-lc","cat /nowhere/told/SKILL.md"],"status":"completed",)",
            R"("aggregated_output":")", text, R"(","exit_code":0},"started_at_ms":)", at,
            R"(,"completed_at_ms":)", at);
        log_.end();
    }
    item(fmt::format("{}_output", tools[call.tool].kind), at);
    log_.add(callPart(call),
             R"("output":"Process exited with code 0\nOutput: /nowhere/shown/SKILL.md\n)", text,
             R"(")");
    endItem();
}

void SessionLines::compacted(Millis at, std::size_t bytes) {
    log_.begin("compacted", at);
    log_.add(R"("message":"A summary:\n)", filler_.prose(bytes / 2, random_));
    log_.add(R"(","replacement_history":[{"type":"message","role":"user","content":[)",
             R"({"type":"input_text","text":")", filler_.prose(bytes / 2, random_), R"("}]})");
    // A kept history can hold calls that the log has already shown once.
    if (random_.chance(0.2)) {
        log_.add(R"(,{"type":"function_call","name":"exec_command","arguments":)",
                 R"("{\"cmd\":\"cat /nowhere/kept/SKILL.md\"}","call_id":"call_kept"})");
    }
    log_.add("]");
    log_.end();
}

void SessionLines::bulk(Millis at, std::size_t bytes) {
    if (random_.chance(0.45)) {
        item("function_call_output", at);
        log_.add(R"("call_id":"call_)", random_.letters(8));
        log_.add(R"(","output":")", filler_.prose(bytes, random_), R"(")");
        endItem();
    } else if (random_.chance(0.5)) {
        item("reasoning", at);
        log_.add(R"("summary":[],"content":null,"encrypted_content":")",
                 filler_.base64(bytes, random_), R"(")");
        endItem();
    } else if (bytes > 100'000) {
        item("message", at);
        log_.add(R"("role":"user","content":[{"type":"input_image","image_url":)",
                 R"("data:image/png;base64,)", filler_.base64(bytes, random_), R"("}])");
        endItem();
    } else {
        log_.begin("event_msg", at);
        log_.add(R"("type":"agent_reasoning","text":")", filler_.prose(bytes, random_), R"(")");
        log_.end();
    }
}

void SessionLines::hole(Millis at, std::int64_t bytes) {
    item("function_call_output", at);
    log_.add(R"("call_id":"call_hole","output":")");
    log_.addHole(bytes);
    log_.add(R"(")");
    endItem();
}

void SessionLines::usage(std::string_view key, const TokenBreakdown& tokens) {
    log_.add("\"", key, R"(":{"input_tokens":)", tokens.inputTokens, R"(,"cached_input_tokens":)",
             tokens.cachedInputTokens);
    if (paginated()) log_.add(R"(,"cache_write_input_tokens":0)");
    log_.add(R"(,"output_tokens":)", tokens.outputTokens, R"(,"reasoning_output_tokens":)",
             tokens.reasoningOutputTokens, R"(,"total_tokens":)", tokens.totalTokens, "}");
}

void SessionLines::usageRecord(const Sample& sample) {
    if (!paginated()) return;
    log_.begin("token_usage_record", sample.at);
    log_.add(R"("thread_id":")", session_.id, R"(","turn_id":")", turnId_, R"(","session_id":")",
             session_.id, R"(","root_turn_id":")", turnId_, R"(","response_id":"resp_)",
             random_.letters(20), R"(",)");
    usage("usage", sample.added);
    log_.add(",");
    usage("turn_token_usage", sample.added);
    log_.add(",");
    usage("thread_token_usage", sample.total);
    log_.end();
}

void SessionLines::reading(Millis at, const Counter& counter) {
    const bool odd = random_.chance(0.01);
    log_.begin("event_msg", odd ? offsetTimestampText(at) : timestampText(at));
    log_.add(odd ? R"("type" : "token_count","info":{)" : R"("type":"token_count","info":{)");
    usage("total_token_usage", counter.total);
    log_.add(",");
    usage("last_token_usage", counter.last);
    if (paginated()) log_.add(R"(,"last_usage_includes_reasoning":false)");
    log_.add(
        R"(,"model_context_window":258400},"rate_limits":{"limit_id":"codex","limit_name":null,)",
        R"("primary":{"used_percent":12.5,"window_minutes":300,"resets_at":)", at / second + 3600,
        R"(},"secondary":null,"credits":null,"plan_type":"pro","rate_limit_reached_type":null})");
    log_.end();
}

void SessionLines::rateLimitsAlone(Millis at) {
    log_.begin("event_msg", at);
    log_.add(R"("type":"token_count","info":null,"rate_limits":{"primary":{"used_percent":1.0,)",
             R"("window_minutes":300,"resets_at":)", at / second + 3600, R"(},"secondary":null})");
    log_.end();
}

void SessionLines::oddity(Millis at) {
    static constexpr std::array<std::string_view, 7> foreign{
        R"({"type":"a_kind_of_tomorrow","payload":[1,2,{"type":"token_count"}]})",
        R"({"type":"event_msg","payload":null})",
        R"({"type":"event_msg","payload":{"type":"message","body":{"type" : "token_count"}}})",
        R"({"type":"event_msg","payload":{"type":"message","name":"function_call"}})",
        R"({"payload":{"type":"custom_tool_call","name":""},"type":"response_item"})",
        R"({"type":"response_item","payload":{"type":"function_call","arguments":"{}"}})",
        R"({"total_token_usage":{"total_tokens":999999999}})"};
    const std::size_t kind = random_.below(foreign.size() + 2);
    if (kind < foreign.size()) return log_.addLine(foreign[kind]);
    if (kind == foreign.size()) return rateLimitsAlone(at);
    log_.begin("event_msg", at);
    log_.add(R"("type":"exec_approval_request","reason":"\"token_count\" _ \"function_call\"")");
    log_.end();
}

void SessionLines::tornLine(Millis at) {
    item("function_call_output", at);
    log_.add(R"("call_id":"call_torn","output":")",
             filler_.prose(random_.chance(0.2) ? 90'000 : 700, random_), R"(\"type)");
}

}  // namespace vantry::corpus
