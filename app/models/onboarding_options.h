#pragma once

#include <QVariantList>

namespace tolvik::onboardingOptions {

/// The options of the three questions, as objects with `id`, which is stored and sent, and `name`. The ids of the roles
/// are those that the transcription prompt understands, and "other".
[[nodiscard]] QVariantList roles();
[[nodiscard]] QVariantList useCases();
[[nodiscard]] QVariantList sources();

}  // namespace tolvik::onboardingOptions
