#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "base/result.h"

namespace tolvik {

/// A folder with a model that the engine can run, told apart by its file names.
struct SpeechModel {
    enum class Kind : std::uint8_t { moonshine, moonshineSplit, whisper, transducer, nemoTransducer, nemoCtc };
    Kind kind = Kind::moonshine;
    std::filesystem::path tokens;
    std::filesystem::path encoder;       ///< also the single file of `nemoCtc`
    std::filesystem::path decoder;       ///< merged or cached decoder
    std::filesystem::path joiner;        ///< transducers; the uncached decoder of `moonshineSplit`
    std::filesystem::path preprocessor;  ///< `moonshineSplit` only
    /// For the user: the kind and the folder's name.
    std::string name;
};

/// Where the speech parts lie on this machine.
struct SpeechPlaces {
    std::filesystem::path program;        ///< the child's executable
    std::filesystem::path engineLibrary;  ///< the engine's C interface
    std::filesystem::path modelFolder;
    std::filesystem::path acousticModel;  ///< the grammar listener's; may be absent
    std::filesystem::path dictionary;     ///< pronunciations; may be absent
};

/// What the model in `folder` is. The error names the files that were looked for.
[[nodiscard]] Result<SpeechModel, std::string> inspectSpeechModel(const std::filesystem::path& folder);

/// The folder of models: TOLVIK_MODELS when set, else ../../models beside a program that runs from its build tree,
/// else the system's.
[[nodiscard]] std::filesystem::path modelsRoot();

/// The places that hold unless the settings name another model folder (empty: the default one).
[[nodiscard]] SpeechPlaces findSpeechPlaces(const std::filesystem::path& chosenModelFolder = {});

/// What is missing among the places, for the user; empty when speech can work.
[[nodiscard]] std::string missingSpeechParts(const SpeechPlaces& places);

}  // namespace tolvik
