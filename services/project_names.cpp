#include "services/project_names.h"

#include <algorithm>

#include "base/text.h"

namespace tolvik {

const TagModel* projectOfName(const std::vector<TagModel>& projects, std::string_view name) {
    const auto wanted = lowerCased(trimmed(name));
    const auto found = std::ranges::find_if(
        projects, [&](const TagModel& project) { return lowerCased(trimmed(project.name)) == wanted; });
    return found == projects.end() ? nullptr : &*found;
}

}  // namespace tolvik
