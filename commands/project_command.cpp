#include "commands/project_command.h"

#include <nlohmann/json.hpp>

#include "base/text.h"
#include "commands/answers.h"
#include "commands/task_lookup.h"
#include "commands/vocabulary_commands.h"
#include "core/app_store.h"
#include "services/project_names.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

CommandResponse projectTold(const CommandRequest& request, std::string_view action, const Identifier& id,
                            const std::string& name, const std::string& before) {
    if (request.has("json")) {
        return report(dumped(Json{{"action", action}, {"projectId", id.text()}, {"projectName", name}}));
    }
    return report(line(before + name));
}

}  // namespace

CommandResponse runProject(AppStore& store, DictionaryManager* dictionary, const ReportView& view,
                           const CommandRequest& request) {
    const auto& verb = request.arguments.front();
    const std::size_t given = request.arguments.size() - 1;
    if (verb == "list" && given == 0) {
        return report(
            projectReport(view, dictionary == nullptr ? std::nullopt : dictionary->activeTagId(), formOf(request)));
    }
    if (verb == "use" && dictionary != nullptr) {
        return runProjectUse(*dictionary, store, request);
    }
    const auto rest = joined({request.arguments.begin() + 1, request.arguments.end()}, " ");
    if (verb == "add" && given > 0) {
        if (const TagModel* there = projectOfName(store.tags(), rest)) {
            return nothing(request, "There is a project of that name already: " + there->name);
        }
        const auto id = store.createProject(rest);
        return id ? projectTold(request, "add", *id, store.tagById(*id)->name, "Added: ")
                  : nothing(request, "A project needs a name");
    }
    const bool renames = verb == "rename" && given == 2;
    if (!renames && !(verb == "delete" && given > 0)) {
        return refusal(request, ExitCode::usage,
                       "Usage: tolvik project list | add NAME | rename NAME NEW | delete NAME | use NAME|none");
    }
    const auto name = renames ? request.arguments[1] : rest;
    const auto lookup = lookUpProject(store.tags(), name);
    if (lookup.found == nullptr) {
        return notFound(request, "project", name, named(lookup));
    }
    const Identifier id = lookup.found->id;
    const std::string old = lookup.found->name;
    if (renames) {
        if (trimmed(request.arguments[2]).empty()) {
            return nothing(request, "A project needs a name");
        }
        if (const TagModel* there = projectOfName(store.tags(), request.arguments[2]);
            there != nullptr && there->id != id) {
            return nothing(request, "There is a project of that name already: " + there->name);
        }
        return store.renameProject(id, request.arguments[2]) == Outcome::changed
                   ? projectTold(request, "rename", id, store.tagById(id)->name, "Renamed: " + old + " → ")
                   : nothing(request, "Nothing to rename");
    }
    return store.deleteProject(id) == Outcome::changed
               ? projectTold(request, "delete", id, old, "Deleted the project, kept its tasks: ")
               : nothing(request, "Nothing to delete");
}

}  // namespace tolvik
