#include "voice/hearing/phones.h"

#include <algorithm>
#include <cmath>

namespace tolvik {
namespace {

/// What the mouth does: for a vowel where the tongue is, for a consonant where and how the air is held.
struct Features {
    bool vowel = false;
    float height = 0;  ///< vowels: 0 open to 1 closed
    float back = 0;    ///< vowels: 0 front to 1 back
    float glide = 0;   ///< vowels: -1 ends towards "oo", 1 ends towards "ee"
    int place = 0;     ///< consonants: 0 lips to 6 throat
    int manner = 0;    ///< consonants: 0 stop, 1 affricate, 2 fricative, 3 nasal, 4 liquid or glide
    bool voiced = false;
};

constexpr Features vowel(float height, float back, float glide = 0) {
    return {true, height, back, glide, 0, 0, true};
}
constexpr Features consonant(int place, int manner, bool voiced) {
    return {false, 0, 0, 0, place, manner, voiced};
}

constexpr std::array<Features, phoneNames.size()> features = {
    vowel(0.0F, 0.8F),       // AA
    vowel(0.1F, 0.1F),       // AE
    vowel(0.4F, 0.5F),       // AH
    vowel(0.25F, 0.95F),     // AO
    vowel(0.1F, 0.6F, -1),   // AW
    vowel(0.1F, 0.5F, 1),    // AY
    consonant(0, 0, true),   // B
    consonant(4, 1, false),  // CH
    consonant(3, 0, true),   // D
    consonant(2, 2, true),   // DH
    vowel(0.4F, 0.1F),       // EH
    vowel(0.5F, 0.5F),       // ER
    vowel(0.6F, 0.0F, 1),    // EY
    consonant(1, 2, false),  // F
    consonant(5, 0, true),   // G
    consonant(6, 2, false),  // HH
    vowel(0.75F, 0.2F),      // IH
    vowel(1.0F, 0.0F),       // IY
    consonant(4, 1, true),   // JH
    consonant(5, 0, false),  // K
    consonant(3, 4, true),   // L
    consonant(0, 3, true),   // M
    consonant(3, 3, true),   // N
    consonant(5, 3, true),   // NG
    vowel(0.5F, 0.9F, -1),   // OW
    vowel(0.4F, 0.8F, 1),    // OY
    consonant(0, 0, false),  // P
    consonant(4, 4, true),   // R
    consonant(3, 2, false),  // S
    consonant(4, 2, false),  // SH
    consonant(3, 0, false),  // T
    consonant(2, 2, false),  // TH
    vowel(0.75F, 0.8F),      // UH
    vowel(1.0F, 0.9F),       // UW
    consonant(1, 2, true),   // V
    consonant(0, 4, true),   // W
    consonant(4, 4, true),   // Y
    consonant(3, 2, true),   // Z
    consonant(4, 2, true),   // ZH
};

constexpr Phone named(std::string_view name) {
    for (std::size_t at = 0; at < phoneNames.size(); ++at) {
        if (phoneNames[at] == name) {
            return static_cast<Phone>(at);
        }
    }
    return 0;
}

constexpr bool arePair(Phone a, Phone b, std::string_view first, std::string_view second) {
    return (a == named(first) && b == named(second)) || (a == named(second) && b == named(first));
}

float rawCost(Phone a, Phone b) {
    const Features& one = features[a];
    const Features& two = features[b];
    if (one.vowel && two.vowel) {
        const float apart = std::abs(one.height - two.height) * 0.55F + std::abs(one.back - two.back) * 0.45F +
                            std::abs(one.glide - two.glide) * 0.12F;
        const bool rounded = (a == named("ER")) != (b == named("ER"));
        return std::min(0.85F, 0.1F + apart + (rounded ? 0.15F : 0.0F));
    }
    if (one.vowel != two.vowel) {
        if (arePair(a, b, "ER", "R") || arePair(a, b, "UW", "W") || arePair(a, b, "IY", "Y") ||
            arePair(a, b, "OW", "W") || arePair(a, b, "IH", "Y")) {
            return 0.35F;
        }
        return arePair(a, b, "OW", "L") || arePair(a, b, "AO", "L") || arePair(a, b, "AO", "R") ? 0.6F : 1.0F;
    }
    const float manner = one.manner == two.manner ? 0.0F : std::abs(one.manner - two.manner) == 1 ? 0.4F : 0.55F;
    const float place = std::min(0.5F, 0.17F * static_cast<float>(std::abs(one.place - two.place)));
    const float voice = one.voiced == two.voiced ? 0.0F : 0.2F;
    return std::min(1.0F, 0.1F + manner + place + voice);
}

using Table = std::array<std::array<float, phoneNames.size()>, phoneNames.size()>;

const Table& costs() {
    static const Table table = [] {
        Table made = {};
        constexpr auto count = static_cast<Phone>(phoneNames.size());
        for (Phone a = 0; a < count; ++a) {
            for (Phone b = 0; b < count; ++b) {
                made[a][b] = a == b ? 0.0F : rawCost(a, b);
            }
        }
        return made;
    }();
    return table;
}

}  // namespace

std::optional<Phone> phoneNamed(std::string_view name) {
    const auto found = std::find(phoneNames.begin(), phoneNames.end(), name);
    if (found == phoneNames.end()) {
        return std::nullopt;
    }
    return static_cast<Phone>(found - phoneNames.begin());
}

Phones phonesFrom(std::string_view names) {
    Phones phones;
    for (std::size_t at = 0; at < names.size();) {
        const std::size_t end = std::min(names.find(' ', at), names.size());
        if (const auto phone = phoneNamed(names.substr(at, end - at))) {
            phones.push_back(*phone);
        }
        at = end + 1;
    }
    return phones;
}

float substitutionCost(Phone heard, Phone meant) {
    return costs()[heard][meant];
}

float gapCost(Phone phone) {
    if (features[phone].vowel) {
        return phone == named("AH") || phone == named("IH") ? 0.5F : 0.75F;
    }
    switch (features[phone].manner) {
        case 0:
            return 0.6F;
        case 4:
            return 0.65F;
        default:
            return phone == named("HH") || phone == named("DH") ? 0.45F : 0.8F;
    }
}

std::vector<float> prefixDistances(const Phones& heard, const Phones& meant) {
    std::vector<float> column(heard.size() + 1, 0.0F);
    for (std::size_t k = 0; k < heard.size(); ++k) {
        column[k + 1] = column[k] + gapCost(heard[k]);
    }
    for (const Phone wanted : meant) {
        float diagonal = column[0];
        column[0] += gapCost(wanted);
        for (std::size_t k = 0; k < heard.size(); ++k) {
            const float above = column[k + 1];
            column[k + 1] = std::min({diagonal + substitutionCost(heard[k], wanted), above + gapCost(wanted),
                                      column[k] + gapCost(heard[k])});
            diagonal = above;
        }
    }
    return column;
}

std::vector<float> suffixDistances(const Phones& heard, const Phones& meant) {
    std::vector<float> distances =
        prefixDistances(Phones(heard.rbegin(), heard.rend()), Phones(meant.rbegin(), meant.rend()));
    std::reverse(distances.begin(), distances.end());
    return distances;
}

float soundDistance(const Phones& heard, const Phones& meant) {
    return prefixDistances(heard, meant).back();
}

}  // namespace tolvik
