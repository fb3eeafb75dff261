#include "platform/Date.h"

#include <chrono>

namespace vantry {

Date Date::now() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return Date(std::chrono::duration<double>(sinceEpoch).count());
}

}  // namespace vantry
