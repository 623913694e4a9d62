#include "tests/simulation/sim_device.h"

#include <fmt/format.h>
#include <map>
#include <nlohmann/json.hpp>

#include "sync/user_change.h"

namespace tolvik::sim {

struct SimDevice::App {
    explicit App(SimDevice& device)
        : session(device.values_, device.secrets_),
          workers(device.loop_, device.random_),
          stream({device.link, endpoint, session, device.clock_, device.random_, device.loop_}),
          outbox({device.values_, device.clock_, device.random_, device.loop_, workers, device.folder_.string()}),
          followed(followUser(device.values_, outbox)),
          dictionary({device.values_, device.clock_, device.random_, device.loop_, outbox, stream, &outbox}),
          store({device.values_, device.clock_, device.zone, device.random_, device.loop_, outbox, stream,
                 [this] { return dictionary.activeTagId(); }, [this] { return session.isSignedIn(); },
                 [this](DayKey day) {
                     if (session.isSignedIn()) {
                         service->pullRange(day, day);
                     }
                 }}) {
        service.emplace(SyncService::Ports{device.link, endpoint, session, device.clock_, device.zone, device.loop_,
                                           workers, outbox, store, dictionary, stream});
        changed = store.onChanged([&device] { device.checkLog(); });
        drained = outbox.onDrained([&device] { ++device.drained; });
        service->start();
    }

    BackendEndpoint endpoint{[] { return std::optional<std::string>("https://sim"); }};
    Session session;
    SimWorkers workers;
    SseStream stream;
    SyncOutbox outbox;
    Result<void, StoreError> followed;
    std::optional<SyncService> service;
    DictionaryManager dictionary;
    AppStore store;
    Subscription changed;
    Subscription drained;
};

SimDevice::SimDevice(std::string named, VirtualMainLoop& loop, const Clock& real, Millis skew,
                     std::string_view zoneName, SimServer& server, Random& random, std::filesystem::path folder)
    : name(std::move(named)),
      link(loop, server, random),
      zone(zoneName),
      loop_(loop),
      clock_(real, skew),
      server_(server),
      random_(random),
      folder_(std::move(folder)) {
    std::filesystem::create_directories(folder_);
    start();
}

SimDevice::~SimDevice() {
    stop(true);
}

void SimDevice::stop(bool isCrash) {
    if (app_) {
        app_->changed = {};
        if (isCrash) {
            values_.failure = StoreError::io;
            link.crashed(OutboxQueue::kTogether);
        } else {
            app_->outbox.settle();
        }
        app_->service.reset();
        app_.reset();
        values_.failure.reset();
        values_.commits.clear();
    }
}

void SimDevice::start() {
    if (!app_) {
        app_ = std::make_unique<App>(*this);
        checkLog();
    }
}

bool SimDevice::isSignedIn() {
    return app_->session.isSignedIn();
}

void SimDevice::signIn(const std::string& email) {
    if (const auto session = server_.signIn(email)) {
        if (app_->session.establish(session->token, session->userId, email, "")) {
            if (!app_->service->userSignedIn()) {
                throw Violation{name + " could not follow its user"};
            }
            app_->session.announceChange();
        }
    }
}

void SimDevice::signOut() {
    server_.revoke(token());
    app_->session.clear();
    app_->service->userSignedOut();
    app_->session.announceChange();
}

std::string SimDevice::word() {
    return fmt::format("{}{}", name, random_.next() % 1000);
}

template <class Records>
const auto& SimDevice::any(const Records& records) {
    // Mostly a late one, as with users.
    const std::size_t late = random_.next() % std::min<std::size_t>(records.size(), 4);
    return random_.next() % 3 == 0 ? records[random_.next() % records.size()] : records[records.size() - 1 - late];
}

void SimDevice::act() {
    AppStore& store = app_->store;
    const unsigned what = static_cast<unsigned>(random_.next() % 20);
    if (store.tasks().empty() || what < 3) {
        store.startTask(word());
        return;
    }
    const Identifier task = any(store.tasks()).id;
    const auto& terms = app_->dictionary.entries();
    switch (what) {
        case 3:
        case 4:
        case 5:
            store.switchToTask(task);
            break;
        case 6:
            if (store.activeTask() != nullptr) {
                store.stopTask(Identifier(store.activeTask()->id));
            }
            break;
        case 7:
            store.markDone(task);
            break;
        case 8:
            if (!store.switchLogs().empty()) {
                store.setSwitchReason(any(store.switchLogs()).id, word());
            }
            break;
        case 9:
            store.updateTask(task, {.title = word(), .tagId = std::nullopt});
            break;
        case 10:
        case 11:
            if (!store.tags().empty()) {
                store.updateTask(task, {.title = std::nullopt, .tagId = std::optional(any(store.tags()).id)});
            }
            break;
        case 12:
            deletedTasks.insert(task);
            store.deleteTask(task);
            break;
        case 13:
            store.createProject(word());
            break;
        case 14:
            if (!store.tags().empty()) {
                store.renameProject(any(store.tags()).id, word());
            }
            break;
        case 15:
            if (!store.tags().empty()) {
                store.deleteProject(any(store.tags()).id);
            }
            break;
        case 16:
            store.undo();
            break;
        case 17:
            app_->dictionary.addTerm(word(), "");
            break;
        case 18:
            if (!terms.empty()) {
                app_->dictionary.editTerm(any(terms).id, word(), word());
            }
            break;
        default:
            if (!terms.empty()) {
                app_->dictionary.deleteTerm(any(terms).id);
            }
            break;
    }
    checkLog();
}

void SimDevice::import() {
    WholeLog all = log();
    TaskModel task;
    task.id = random_.identifier();
    task.title = "imported";
    task.status = "open";
    task.createdAt = Timestamp(clock_.now());
    task.updatedAt = task.createdAt;
    all.tasks.push_back(task);
    std::string json;
    appendWholeLog(json, all);
    if (!app_->store.importAll(json)) {
        throw Violation{name + " does not read its own export"};
    }
    imported.emplace_back(owner(), task.id);
}

const std::map<std::string, std::string>& SimDevice::textsOf(const OutboxOp& op) {
    using nlohmann::json;
    const auto [found, isNew] = texts_.try_emplace(op.id);
    if (isNew) {
        const json body = json::parse(*op.body);
        for (const char* field : {"title", "name", "reason"}) {
            if (body.contains(field)) {
                found->second[field] = body[field].is_string() ? body[field].get<std::string>() : "";
            }
        }
    }
    return found->second;
}

void SimDevice::checkLog() {
    AppStore& store = app_->store;
    const auto fail = [&](const std::string& what) { throw Violation{name + ": " + what}; };
    std::vector<Identifier> active;
    std::set<std::string> ids;
    const auto unique = [&](const Identifier& id) {
        if (!ids.insert(id.text()).second) {
            fail(id.text() + " is there twice");
        }
    };
    for (const TaskModel& task : store.tasks()) {
        unique(task.id);
        if (task.isActive) {
            active.push_back(task.id);
        }
        if ((task.status == "done") != task.completedAt.has_value() || (task.isActive && task.status == "done")) {
            fail("task " + task.id.text() + " is neither open nor done");
        }
        if (task.tagId && store.tagById(*task.tagId) == nullptr) {
            fail("task " + task.id.text() + " is of no project");
        }
    }
    std::vector<Identifier> running;
    for (const TimeEntry& entry : store.timeEntries()) {
        unique(entry.id);
        if (store.taskById(entry.taskId) == nullptr) {
            fail("entry " + entry.id.text() + " is of no task");
        }
        if (entry.isRunning()) {
            running.push_back(entry.taskId);
        } else if (entry.durationMs != (*entry.endedAt->instant() - *entry.startedAt.instant()).count()) {
            fail("entry " + entry.id.text() + " lasted another time");
        }
    }
    if (running.size() > 1 || active != running) {
        fail(fmt::format("{} entries run, {} tasks are active", running.size(), active.size()));
    }
    std::map<Identifier, const SwitchLog*> logs;
    for (const SwitchLog& log : store.switchLogs()) {
        unique(log.id);
        logs[log.id] = &log;
        if (store.taskById(log.toTaskId) == nullptr || (log.fromTaskId && store.taskById(*log.fromTaskId) == nullptr)) {
            fail("switch " + log.id.text() + " is of no task");
        }
    }
    // What is queued is to be seen.
    std::map<std::pair<std::string, std::string>, std::string> wanted;
    for (const OutboxOp& op : app_->outbox.ops()) {
        if (op.body && op.entityId) {
            for (const auto& [field, text] : textsOf(op)) {
                wanted[{*op.entityId, field}] = text;
            }
        }
    }
    for (const auto& [key, text] : wanted) {
        const Identifier id(key.first);
        std::string present = text;
        if (const TaskModel* task = store.taskById(id); task != nullptr && key.second == "title") {
            present = task->title;
        } else if (const TagModel* tag = store.tagById(id); tag != nullptr && key.second == "name") {
            present = tag->name;
        } else if (logs.contains(id) && key.second == "reason") {
            present = logs[id]->reason.value_or("");
        }
        if (present != text) {
            fail(fmt::format("{} of {} is \"{}\" while \"{}\" is queued", key.second, key.first, present, text));
        }
    }
}

std::string SimDevice::owner() {
    return app_->store.owner();
}
std::string SimDevice::userId() {
    return app_->session.userId();
}
std::string SimDevice::token() {
    return app_->session.currentToken().value_or("");
}
std::size_t SimDevice::pending() {
    return app_->outbox.pendingCount();
}
WholeLog SimDevice::log() {
    return {app_->store.tasks(), app_->store.timeEntries(), app_->store.switchLogs(), app_->store.tags()};
}
std::vector<DictEntry> SimDevice::terms() {
    return app_->dictionary.entries();
}
std::size_t SimDevice::kept() {
    const OutboxQueue::Ports ports{values_, clock_, random_, loop_, app_->workers, folder_.string()};
    OutboxQueue queue(ports);
    return queue.ops().size();
}

}  // namespace tolvik::sim
