#include "presentation/dashboard/CodexSessionOpener.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::CodexSessionOpenerSelfTest {

using namespace CodexSessionOpener;

bool run() {
    SelfTest test("codex session opener");
    const std::string upper = "01A20528-476D-7260-BC10-D159D63F3836";
    const std::string target = "codex://threads/01a20528-476d-7260-bc10-d159d63f3836";
    test.expect(url(upper) == target, "an upper-case id opens with its lower-case form");
    for (const char* id :
         {"", " 01a20528-476d-7260-bc10-d159d63f3836", "01a20528476d7260bc10d159d63f3836",
          "01a20528-476d-7260-bc10-d159d63f383g", "01a20528-476d-7260-bc10d-159d63f3836"}) {
        test.expect(!url(id), id);
    }
    std::string opened;
    const auto take = [&](const std::string& link) { return (opened += link) == target; };
    test.expect(!open("not-a-thread", take) && opened.empty(), "nothing to open");
    test.expect(open(upper, take) && !open(upper, take), "the desktop's answer is the outcome");

    test.expect(conversationURL({.threadID = upper}) == target &&
                    conversationURL({.kind = TaskColumnKind::done, .threadID = upper}) == target,
                "a conversation has a link");
    test.expect(!conversationURL({.id = upper}) && !conversationURL({.threadID = "thread"}) &&
                    !conversationURL({.kind = TaskColumnKind::scheduled, .threadID = upper}),
                "定时任务、缺少 ID 和无效 ID 不得出现对话跳转");
    return test.finish();
}

}  // namespace vantry::CodexSessionOpenerSelfTest
