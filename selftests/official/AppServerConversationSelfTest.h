#pragma once

namespace vantry::AppServerConversationSelfTest {

bool run();

}  // namespace vantry::AppServerConversationSelfTest
