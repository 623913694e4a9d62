#include "services/paths.h"

#include <cstdlib>
#include <pwd.h>
#include <system_error>
#include <unistd.h>

namespace tolvik {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolder = "Tolvik";
constexpr const char* kInstalledModels = "/usr/share/tolvik/models";
constexpr const char* kEmbeddingModule = "tolvik-embedding.so";
constexpr const char* kPdfModule = "tolvik-pdf.so";

fs::path homeFolder(const Environment& environment) {
    if (const auto home = environment("HOME"); home && fs::path(*home).is_absolute()) {
        return *home;
    }
    if (const passwd* user = getpwuid(geteuid()); user != nullptr && user->pw_dir != nullptr) {
        return user->pw_dir;
    }
    return "/";
}

fs::path userFolder(const Environment& environment, const char* variable, const char* below) {
    if (const auto value = environment(variable); value && fs::path(*value).is_absolute()) {
        return fs::path(*value) / kFolder;
    }
    return homeFolder(environment) / below / kFolder;
}

fs::path modelFolder(const Environment& environment, const fs::path& programs) {
    if (const auto value = environment("TOLVIK_MODELS"); value && !value->empty()) {
        return fs::absolute(*value);
    }
    std::error_code error;
    // build/release/bin/tolvik goes with build/models.
    const fs::path built = programs.parent_path().parent_path() / "models";
    return fs::is_directory(built, error) ? built : fs::path(kInstalledModels);
}

/// A module lies beside the programs of a build tree, and where libraries are installed.
fs::path moduleFile(const fs::path& programs, const char* name) {
    std::error_code error;
    const fs::path beside = programs / name;
    return fs::exists(beside, error) ? beside : programs.parent_path() / "lib" / "tolvik" / name;
}

}  // namespace

fs::path Paths::embeddingModule() const {
    return moduleFile(programs, kEmbeddingModule);
}

fs::path Paths::pdfModule() const {
    return moduleFile(programs, kPdfModule);
}

fs::path Paths::httpModule() const {
    return moduleFile(programs, "tolvik-http.so");
}

fs::path Paths::secretsModule() const {
    return moduleFile(programs, "tolvik-secrets.so");
}

Environment processEnvironment() {
    return [](const char* name) -> std::optional<std::string> {
        const char* value = std::getenv(name);
        return value == nullptr ? std::nullopt : std::optional<std::string>(value);
    };
}

Paths locatePaths(const Environment& environment, const fs::path& program) {
    Paths paths;
    paths.programs = program.parent_path();
    paths.data = userFolder(environment, "XDG_DATA_HOME", ".local/share");
    paths.config = userFolder(environment, "XDG_CONFIG_HOME", ".config");
    paths.models = modelFolder(environment, paths.programs);
    return paths;
}

Paths locatePaths() {
    std::error_code error;
    return locatePaths(processEnvironment(), fs::read_symlink("/proc/self/exe", error));
}

}  // namespace tolvik
