#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace tolvik {

/// Where everything lies for one user. Plain values; nothing is created by asking.
struct Paths {
    /// `$XDG_DATA_HOME/Tolvik`, else `~/.local/share/Tolvik`: the log.
    std::filesystem::path data;
    /// `$XDG_CONFIG_HOME/Tolvik`, else `~/.config/Tolvik`.
    std::filesystem::path config;
    /// Holds `speech/`, `engine/` and `embedding/`; may not exist.
    std::filesystem::path models;
    /// The folder of the running program; its companions lie beside it.
    std::filesystem::path programs;

    [[nodiscard]] std::filesystem::path database() const { return data / "tolvik.sqlite"; }
    [[nodiscard]] std::filesystem::path lock() const { return data / "tolvik.lock"; }
    [[nodiscard]] std::filesystem::path socket() const { return data / "tolvik.sock"; }
    [[nodiscard]] std::filesystem::path speechModel() const { return models / "speech"; }
    [[nodiscard]] std::filesystem::path speechEngine() const { return models / "engine"; }
    [[nodiscard]] std::filesystem::path embeddingModel() const { return models / "embedding"; }
    /// The module with the embedding's arithmetic, loaded when it is first asked; may not exist.
    [[nodiscard]] std::filesystem::path embeddingModule() const;
    /// The module that draws reports, loaded when the first is drawn; may not exist.
    [[nodiscard]] std::filesystem::path pdfModule() const;
    /// The modules that send requests and that keep the session, loaded when first needed; may not exist.
    [[nodiscard]] std::filesystem::path httpModule() const;
    [[nodiscard]] std::filesystem::path secretsModule() const;
};

/// The value of an environment variable; none when it is not set.
using Environment = std::function<std::optional<std::string>(const char* name)>;

/// The variables of this process.
[[nodiscard]] Environment processEnvironment();

/// Relative values of the XDG variables are ignored, as their standard asks. Models are looked for in TOLVIK_MODELS,
/// then in `models` two folders above the program (a build tree), then in /usr/share/tolvik/models.
[[nodiscard]] Paths locatePaths(const Environment& environment, const std::filesystem::path& program);

/// The paths of this process.
[[nodiscard]] Paths locatePaths();

}  // namespace tolvik
