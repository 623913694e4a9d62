#include "app/shell/menu_items.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "base/text.h"

namespace tolvik {

namespace {

MenuItem item(MenuItem::Kind kind, std::string title = {}, std::string keys = {}) {
    MenuItem out;
    out.kind = kind;
    out.title = std::move(title);
    out.keys = std::move(keys);
    return out;
}

std::vector<MenuItem> candidateItems(const std::vector<TaskModel>& tasks, const TaskModel* running) {
    std::vector<const TaskModel*> candidates;
    for (const TaskModel& task : tasks) {
        if (task.isOpen() && (running == nullptr || task.id != running->id)) {
            candidates.push_back(&task);
        }
    }
    std::ranges::stable_sort(candidates, std::ranges::greater{}, &TaskModel::updatedAt);
    candidates.resize(std::min(candidates.size(), maxMenuCandidates));

    std::vector<MenuItem> out;
    for (const TaskModel* task : candidates) {
        MenuItem& added = out.emplace_back(item(MenuItem::Kind::task, task->title));
        added.taskId = task->id;
        added.colorIndex = task->colorIndex;
    }
    return out;
}

}  // namespace

std::vector<MenuItem> menuItems(const std::vector<TaskModel>& tasks, const TaskModel* running) {
    using Kind = MenuItem::Kind;
    std::vector<MenuItem> out;
    if (running != nullptr) {
        out.push_back(item(Kind::label, running->title));
        out.push_back(item(Kind::stop, "Stop", "Ctrl+Shift+S"));
        out.push_back(item(Kind::markDone, "Mark done", "Ctrl+Shift+D"));
    } else {
        out.push_back(item(Kind::label, "Nothing running"));
    }
    out.push_back(item(Kind::separator));
    if (auto candidates = candidateItems(tasks, running); candidates.empty()) {
        out.push_back(item(Kind::label, "No other open tasks"));
    } else {
        out.push_back(item(Kind::switchTo, "Switch to"));
        out.back().children = std::move(candidates);
    }
    out.push_back(item(Kind::separator));
    out.push_back(item(Kind::open, "Open Tolvik"));
    out.push_back(item(Kind::checkForUpdates, "Check for Updates…"));
    out.push_back(item(Kind::quit, "Quit Tolvik"));
    return out;
}

std::string menuText(const std::string& title) {
    if (graphemeCount(title) <= maxMenuTextLength) {
        return title;
    }
    return trimmed(firstGraphemes(title, maxMenuTextLength - 1)) + "…";
}

}  // namespace tolvik
