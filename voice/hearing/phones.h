#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tolvik {

/// A speech sound of American English, in the order of `phoneNames`.
using Phone = std::uint8_t;
using Phones = std::vector<Phone>;

/// The names of the sounds as pronunciation dictionaries write them (ARPAbet without stress marks).
inline constexpr std::array<std::string_view, 39> phoneNames = {
    "AA", "AE", "AH", "AO", "AW", "AY", "B", "CH", "D", "DH", "EH", "ER", "EY", "F",  "G", "HH", "IH", "IY", "JH", "K",
    "L",  "M",  "N",  "NG", "OW", "OY", "P", "R",  "S", "SH", "T",  "TH", "UH", "UW", "V", "W",  "Y",  "Z",  "ZH"};

[[nodiscard]] std::optional<Phone> phoneNamed(std::string_view name);
/// Sounds separated by blanks; what is no sound is left out.
[[nodiscard]] Phones phonesFrom(std::string_view names);

/// How unlike two sounds are to the ear: 0 for the same, 1 for plainly different.
[[nodiscard]] float substitutionCost(Phone heard, Phone meant);
/// What it costs that a sound is missing or too many; weak sounds cost less.
[[nodiscard]] float gapCost(Phone phone);

/// The least cost of turning `heard` into `meant`.
[[nodiscard]] float soundDistance(const Phones& heard, const Phones& meant);
/// Element k: the least cost of turning the first k sounds of `heard` into `meant`.
[[nodiscard]] std::vector<float> prefixDistances(const Phones& heard, const Phones& meant);
/// Element k: the least cost of turning the sounds of `heard` from the k-th on into `meant`.
[[nodiscard]] std::vector<float> suffixDistances(const Phones& heard, const Phones& meant);

}  // namespace tolvik
