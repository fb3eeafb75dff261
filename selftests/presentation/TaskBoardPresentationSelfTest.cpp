#include "presentation/dashboard/TaskBoardPresentation.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::TaskBoardPresentationSelfTest {

using namespace TaskBoardPresentation;

bool run() {
    SelfTest test("task board presentation");
    const TaskColumn done{.id = TaskColumnKind::done, .count = 100};
    const TaskColumn scheduled{.id = TaskColumnKind::scheduled, .count = 1};
    const TaskColumn pending{.id = TaskColumnKind::pending, .count = 20};
    const TaskColumn active{.id = TaskColumnKind::active, .count = 3};
    const std::vector<TaskColumn> columns{done, scheduled, pending, active};
    test.expect(visibleColumns(columns) == std::vector<TaskColumn>{active, pending, scheduled},
                "任务看板应只按顺序展示最近活跃、其他会话和定时三列");
    test.expect(visibleCount(columns) == 24, "任务看板汇总不应包含隐藏的归档列");
    test.expect(visibleColumns({done, scheduled}).size() == 1, "no column is made up");
    return test.finish();
}

}  // namespace vantry::TaskBoardPresentationSelfTest
