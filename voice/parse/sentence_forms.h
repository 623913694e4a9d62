#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "voice/parse/command.h"

namespace tolvik {

/// Lower case, with plain apostrophes: the form in which titles are compared.
[[nodiscard]] std::string comparableTitle(std::string_view title);
/// Lower case, single blanks, without spoken fillers. Typographic apostrophes become plain ones.
[[nodiscard]] std::string normalised(std::string_view sentence);
/// Without any run of . , ? ! ; : at the end.
[[nodiscard]] std::string withoutTrailingPunctuation(std::string_view text);
/// Without "please", "right now" and the like at the end, nor the comma that stood before them.
[[nodiscard]] std::string withoutTrailingFillers(std::string_view text);

/// Without the first of the phrases that introduce a task; the text itself when it begins with none.
[[nodiscard]] std::string_view withoutReferencePrefix(std::string_view text);
/// Without one leading article.
[[nodiscard]] std::string_view withoutArticle(std::string_view text);
/// Whether a reference means the running task, or nothing: only words such as "it", "this", "task".
[[nodiscard]] bool isEmptyReference(std::string_view text);

/// Replaces words that are nearly a word of a title by that word, so that what was misheard still finds its task.
/// Command words stay. Sentences of more than `correctionLimit` words are left alone.
[[nodiscard]] std::string correctedTowards(const std::vector<TaskInfo>& tasks, std::string_view sentence);
inline constexpr std::size_t correctionLimit = 400;

}  // namespace tolvik
