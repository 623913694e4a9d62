#include "sync/bulk_file.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "base/json_reader.h"
#include "base/json_writer.h"
#include "sync/outbox_file.h"

namespace tolvik {
namespace {

constexpr std::string_view kFile = R"({"file":)";

}  // namespace

std::optional<std::string> writeBulkFile(const std::string& prefix, std::string_view id, std::string_view bytes) {
    const std::filesystem::path path = prefix + std::string(id) + ".json";
    if (!replaceDurably(path, bytes, true)) {
        return std::nullopt;
    }
    std::string item;
    {
        JsonObjectWriter out(item);
        out.text("file", path.filename().string());
    }
    return item;
}

std::optional<std::string> bulkFileOf(std::string_view item) {
    if (!item.starts_with(kFile)) {
        return std::nullopt;
    }
    JsonReader reader({.bytes = item.size()});
    const auto object = reader.readObject(item);
    std::string_view name;
    // A name never leads out of the folder.
    if (!object || object->at_key("file").get(name) != simdjson::SUCCESS || name.find('/') != std::string_view::npos) {
        return std::nullopt;
    }
    return std::string(name);
}

std::string bulkContent(const std::string& folder, const std::string& item) {
    const auto name = bulkFileOf(item);
    if (!name) {
        return item;
    }
    std::ifstream file(folder + "/" + *name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void removeBulkFiles(const std::string& prefix, const std::set<std::string>& named) {
    const std::filesystem::path start = prefix;
    std::error_code failed;
    std::filesystem::directory_iterator files(start.parent_path(), failed);
    std::vector<std::filesystem::path> doomed;
    for (; !failed && files != std::filesystem::directory_iterator(); files.increment(failed)) {
        const std::string name = files->path().filename().string();
        if (name.starts_with(start.filename().string()) && !named.contains(name)) {
            doomed.push_back(files->path());
        }
    }
    for (const auto& path : doomed) {
        std::filesystem::remove(path, failed);
    }
}

}  // namespace tolvik
