#include "app/models/project_lists.h"

#include <array>

namespace tolvik {

std::span<const RowRole<ProjectPageRow>> ProjectPageRow::roles() {
    static constexpr std::array all{
        rowRole<&ProjectPageRow::id>("projectId"),          rowRole<&ProjectPageRow::name>("name"),
        rowRole<&ProjectPageRow::colorIndex>("colorIndex"), rowRole<&ProjectPageRow::current>("current"),
        rowRole<&ProjectPageRow::detail>("detail"),         rowRole<&ProjectPageRow::weeks>("weeks"),
        rowRole<&ProjectPageRow::weekText>("weekText"),     rowRole<&ProjectPageRow::totalText>("totalText"),
        rowRole<&ProjectPageRow::spoken>("spoken")};
    return all;
}

std::span<const RowRole<ProjectTaskRow>> ProjectTaskRow::roles() {
    static constexpr std::array all{rowRole<&ProjectTaskRow::id>("taskId"), rowRole<&ProjectTaskRow::title>("title"),
                                    rowRole<&ProjectTaskRow::colorIndex>("colorIndex"),
                                    rowRole<&ProjectTaskRow::lengthText>("lengthText"),
                                    rowRole<&ProjectTaskRow::spoken>("spoken")};
    return all;
}

}  // namespace tolvik
