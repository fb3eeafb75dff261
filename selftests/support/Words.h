#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "presentation/words/NoticeWords.h"

namespace vantry {

/// Notices that differ by these words.
inline Notices said(std::initializer_list<const char*> words) {
    Notices notices;
    for (const char* word : words) {
        notices.push_back({.kind = NoticeKind::appServerRefusedRequest, .quoted = word});
    }
    return notices;
}

/// The Chinese sentences of the notices.
inline std::vector<std::string> wordsOf(const Notices& notices) {
    std::vector<std::string> words;
    for (const Notice& notice : notices) words.push_back(text(notice, WidgetLanguage::zh));
    return words;
}

}  // namespace vantry
