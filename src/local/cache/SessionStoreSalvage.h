#pragma once

#include "platform/Database.h"

/// What is left of a malformed database of sessions.
namespace vantry::SessionStoreSalvage {

struct Outcome {
    bool isDone = false;  ///< else the target could not be written, or damage is not what is wrong
    bool isComplete = false;  ///< every table was walked to its end and all checksums are right
};

/// Puts the rows of `source` that can be read and have their checksums into the tables of `target`,
/// within the transaction of the caller. Takes 20 seconds at most.
Outcome takeOver(Database& source, Database& target);

}  // namespace vantry::SessionStoreSalvage
