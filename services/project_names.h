#pragma once

#include <string_view>
#include <vector>

#include "core/records.h"

namespace tolvik {

/// The project that people would not tell apart from one of this name: the same but for case and the spaces around it.
/// Null when there is none. Nothing forbids two of one name, which two devices may make at the same time; whoever asks
/// for a second one here is told.
[[nodiscard]] const TagModel* projectOfName(const std::vector<TagModel>& projects, std::string_view name);

}  // namespace tolvik
