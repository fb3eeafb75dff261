#pragma once

namespace vantry::SkillAttributionSelfTest {

/// Which Skills and tools a log's calls stand for, and how large a Skill is.
bool run();

}  // namespace vantry::SkillAttributionSelfTest
