#include "app/models/project_list_model.h"

#include <algorithm>
#include <array>

#include "app/models/wording.h"

namespace tolvik {

std::span<const RowRole<ProjectRow>> ProjectRow::roles() {
    static constexpr std::array all{rowRole<&ProjectRow::id>("projectId"), rowRole<&ProjectRow::name>("name"),
                                    rowRole<&ProjectRow::colorIndex>("colorIndex")};
    return all;
}

void ProjectListModel::update(const AppStore& store) {
    std::vector<ProjectRow> next;
    next.reserve(store.tags().size());
    for (const TagModel& tag : store.tags()) {
        next.push_back({.id = wording::fromUtf8(tag.id.text()),
                        .name = wording::fromUtf8(tag.name),
                        .colorIndex = static_cast<int>(tag.colorIndex)});
    }
    std::ranges::stable_sort(
        next, [](const ProjectRow& a, const ProjectRow& b) { return QString::localeAwareCompare(a.name, b.name) < 0; });
    assign(std::move(next));
}

}  // namespace tolvik
