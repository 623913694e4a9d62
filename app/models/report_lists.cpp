#include "app/models/report_lists.h"

#include <array>

namespace tolvik {

std::span<const RowRole<ReportBarRow>> ReportBarRow::roles() {
    static constexpr std::array all{
        rowRole<&ReportBarRow::label>("label"),       rowRole<&ReportBarRow::totalText>("totalText"),
        rowRole<&ReportBarRow::fraction>("fraction"), rowRole<&ReportBarRow::segments>("segments"),
        rowRole<&ReportBarRow::highest>("highest"),   rowRole<&ReportBarRow::last>("last"),
        rowRole<&ReportBarRow::day>("day"),           rowRole<&ReportBarRow::spoken>("spoken"),
        rowRole<&ReportBarRow::details>("details")};
    return all;
}

std::span<const RowRole<ReportShareRow>> ReportShareRow::roles() {
    static constexpr std::array all{rowRole<&ReportShareRow::id>("rowId"),
                                    rowRole<&ReportShareRow::name>("name"),
                                    rowRole<&ReportShareRow::colorIndex>("colorIndex"),
                                    rowRole<&ReportShareRow::lengthText>("lengthText"),
                                    rowRole<&ReportShareRow::percentText>("percentText"),
                                    rowRole<&ReportShareRow::share>("share"),
                                    rowRole<&ReportShareRow::inLastBar>("inLastBar"),
                                    rowRole<&ReportShareRow::project>("project"),
                                    rowRole<&ReportShareRow::projectColor>("projectColor"),
                                    rowRole<&ReportShareRow::spoken>("spoken")};
    return all;
}

}  // namespace tolvik
