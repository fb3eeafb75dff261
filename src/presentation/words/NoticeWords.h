#pragma once

#include <string>

#include "presentation/words/Language.h"
#include "records/Notice.h"

namespace vantry {

/// A notice as a sentence. Words of the service stand in it as they came, control characters
/// included.
std::string text(const Notice& notice, WidgetLanguage language);

}  // namespace vantry
