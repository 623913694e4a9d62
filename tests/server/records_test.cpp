#include <algorithm>

#include "tests/server/server_fixture.h"

namespace tolvik::server {
namespace {

class RecordsTest : public ServerTest {
protected:
    void SetUp() override {
        ServerTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        token = signIn("a@b.c");
        other = signIn("x@y.z");
    }
    /// One operation of the first user's queue, with an id of its own.
    Reply op(std::string_view method, const std::string& path, const Json& body = nullptr) {
        return opAs(newId(), method, path, body);
    }
    Reply opAs(const std::string& opId, std::string_view method, const std::string& path, const Json& body = nullptr) {
        return send(token, method, path, body.is_null() ? std::string() : body.dump(), {{"x-op-id", opId}});
    }
    std::string newTask(const std::string& title = "Write") {
        std::string id = newId();
        EXPECT_EQ(op("POST", "/tasks", task(id, title)).status, 200);
        return id;
    }
    std::string newEntry(const std::string& ofTask) {
        std::string id = newId();
        EXPECT_EQ(op("POST", "/time-entries", entry(id, ofTask)).status, 200);
        return id;
    }
    /// The entry is over now.
    void close(const std::string& id, const Json& started) {
        const Millis length = clock.now() - *parseInstant(started["startedAt"].get<std::string>());
        EXPECT_EQ(op("PATCH", "/time-entries/" + id, {{"endedAt", now()}, {"durationMs", length.count()}}).status, 200);
    }

    std::string token;
    std::string other;
};

TEST_P(RecordsTest, WhatWasSentComesBackExactly) {
    const std::string tagId = newId();
    Json sentTag = tag(tagId);
    sentTag["name"] = "Zo\u00eb's \U0001F680\n\"x\"\\";
    EXPECT_EQ(op("POST", "/tags", sentTag).status, 200);
    const std::string from = newTask();
    const std::string id = newId();
    Json sent = task(id, std::string("nul \0 in \u2028 it\r\n\x01", 18));
    sent["tagId"] = tagId;
    sent["previousTaskId"] = from;
    sent["completedAt"] = nullptr;
    sent["unknown"] = {{"kept", false}};
    EXPECT_EQ(op("POST", "/tasks", sent).status, 200);
    Json log = switchLog(newId(), id);
    log["fromTaskId"] = from;
    log["reason"] = "tired";
    EXPECT_EQ(op("POST", "/switch-logs", log).status, 200);
    const Json term = {{"id", newId()}, {"tagId", tagId},     {"term", "Brivio"},
                       {"hint", ""},    {"createdAt", now()}, {"updatedAt", now()}};
    EXPECT_EQ(op("POST", "/dictionaries", term).status, 200);
    const Json run = entry(newId(), id);
    EXPECT_EQ(op("POST", "/time-entries", run).status, 200);

    const Json pulled = pull(token);
    sent.erase("unknown");
    sent.erase("completedAt");
    sent["isActive"] = true;  // its entry runs
    EXPECT_EQ(byId(pulled["tasks"], id), sent);
    EXPECT_EQ(byId(pulled["tags"], tagId), sentTag);
    EXPECT_EQ(pulled["switchLogs"], Json::array({log}));
    EXPECT_EQ(pulled["dictionaries"], Json::array({term}));
    EXPECT_EQ(pulled["timeEntries"], Json::array({run}));
    EXPECT_EQ(pulled["earliestDate"], now().substr(0, 10));
}

TEST_P(RecordsTest, EveryMemberIsChecked) {
    const std::string own = newTask();
    const auto expectBad = [&](const std::string& path, Json body, const std::string& member, const Json& value) {
        if (value.is_discarded()) {
            body.erase(member);
        } else {
            body[member] = value;
        }
        const Reply reply = op("POST", path, body);
        EXPECT_EQ(reply.status, 400) << path << ' ' << member << ' ' << body;
        EXPECT_TRUE(reply.body.value("error", "").starts_with(member + ": ")) << reply.body;
    };
    const Json absent = Json::parse("", nullptr, false);
    for (const char* member :
         {"id", "title", "status", "isActive", "createdAt", "updatedAt", "sortOrder", "colorIndex"}) {
        expectBad("/tasks", task(newId()), member, absent);
        expectBad("/tasks", task(newId()), member, Json::array());
    }
    expectBad("/tasks", task(newId()), "id", "abc");
    expectBad("/tasks", task(newId()), "id", "6ba7b810-9dad-41d1-80b4-00c04fd430c8");
    expectBad("/tasks", task(newId()), "title", std::string(2001, 'x'));
    expectBad("/tasks", task(newId()), "status", "paused");
    expectBad("/tasks", task(newId()), "createdAt", "2026-01-01T10:00:00Z");
    expectBad("/tasks", task(newId()), "createdAt", "yesterday");
    expectBad("/tasks", task(newId()), "sortOrder", 1.5);
    expectBad("/time-entries", entry(newId(), own), "taskId", newId());
    expectBad("/time-entries", entry(newId(), own), "endedAt", 5);
    expectBad("/switch-logs", switchLog(newId(), own), "source", absent);
    expectBad("/tags", tag(newId()), "name", absent);
    EXPECT_EQ(op("PATCH", "/tasks/" + own, {{"title", nullptr}}).status, 400);
    EXPECT_EQ(op("PATCH", "/tasks/" + own, {{"createdAt", now()}}).status, 400) << "nothing that may change";
    EXPECT_EQ(send(token, "POST", "/tasks", std::string(200'000, ' ')).status, 413);
    EXPECT_EQ(send(token, "POST", "/tasks", std::string(20'000, '[')).status, 400);
    EXPECT_EQ(send(token, "POST", "/tasks", task(newId()), {{"x-op-id", std::string(65, 'x')}}).status, 400);
    EXPECT_EQ(send(token, "PUT", "/tasks").status, 405);
    EXPECT_EQ(send(token, "GET", "/tasks/a/b").status, 404);
    EXPECT_EQ(pull(token)["tasks"].size(), 1U);
}

TEST_P(RecordsTest, ChangesAreStampedByTheServerAndOnlyWhenTheyChange) {
    const std::string id = newTask();
    const std::string before = now();
    clock.advance(Millis{5000});
    EXPECT_TRUE(op("PATCH", "/tasks/" + id, {{"title", "Write"}}).outcome.announcements.empty());
    EXPECT_EQ(byId(pull(token)["tasks"], id)["updatedAt"], before);
    const Reply done = op("PATCH", "/tasks/" + id, {{"status", "done"}, {"completedAt", before}, {"title", "Wrote"}});
    ASSERT_EQ(done.outcome.announcements.size(), 1U);
    Json now_ = byId(pull(token)["tasks"], id);
    EXPECT_EQ(now_["updatedAt"], now());
    EXPECT_EQ(now_["completedAt"], before);
    EXPECT_EQ(now_["title"], "Wrote");
    EXPECT_EQ(op("PATCH", "/tasks/" + id, {{"status", "open"}, {"completedAt", nullptr}}).status, 200);
    EXPECT_FALSE(byId(pull(token)["tasks"], id).contains("completedAt"));
}

TEST_P(RecordsTest, AnOperationCountsOnceHoweverLateItComesAgain) {
    const std::string id = newId();
    const std::string opId = newId();
    const Json first = task(id);
    EXPECT_EQ(opAs(opId, "POST", "/tasks", first).outcome.announcements.size(), 1U);
    EXPECT_TRUE(opAs(opId, "POST", "/tasks", first).outcome.announcements.empty());
    EXPECT_EQ(op("DELETE", "/tasks/" + id).status, 200);
    const Reply late = opAs(opId, "POST", "/tasks", first);
    EXPECT_EQ(late.status, 200);
    EXPECT_TRUE(pull(token)["tasks"].empty()) << "the first copy arrived late and brought the task back";
    EXPECT_TRUE(isDeleted(pull(token), id));

    EXPECT_EQ(op("POST", "/tasks", first).status, 200);
    EXPECT_EQ(pull(token)["tasks"].size(), 1U) << "a new operation revives";
    EXPECT_FALSE(isDeleted(pull(token), id));

    const std::string patchId = newId();
    EXPECT_EQ(opAs(patchId, "PATCH", "/tasks/" + id, {{"title", "one"}}).status, 200);
    EXPECT_EQ(op("PATCH", "/tasks/" + id, {{"title", "two"}}).status, 200);
    EXPECT_EQ(opAs(patchId, "PATCH", "/tasks/" + id, {{"title", "one"}}).status, 200);
    EXPECT_EQ(byId(pull(token)["tasks"], id)["title"], "two");
    // The same id of another user's device is another operation.
    EXPECT_EQ(send(other, "POST", "/tasks", task(newId()), {{"x-op-id", opId}}).status, 200);
    EXPECT_EQ(pull(other)["tasks"].size(), 1U);
}

TEST_P(RecordsTest, ARefusedOperationStaysRefusedUnlessItsBodyChanges) {
    const std::string lost = newId();
    const std::string opId = newId();
    Json body = task(newId());
    body["tagId"] = lost;
    EXPECT_EQ(opAs(opId, "POST", "/tasks", body).status, 400);
    EXPECT_EQ(opAs(opId, "POST", "/tasks", body).status, 400);
    Json without = body;
    without.erase("tagId");
    EXPECT_EQ(opAs(opId, "POST", "/tasks", without).status, 200) << "the device sends it again without its project";
    EXPECT_EQ(opAs(opId, "POST", "/tasks", body).status, 200) << "a late copy of the refused one changes nothing";
    EXPECT_FALSE(pull(token)["tasks"][0].contains("tagId"));

    const std::string patch = newId();
    const std::string id = newId();
    EXPECT_EQ(opAs(patch, "PATCH", "/tasks/" + id, {{"title", "x"}}).status, 404);
    EXPECT_EQ(op("POST", "/tasks", task(id)).status, 200);
    EXPECT_EQ(opAs(patch, "PATCH", "/tasks/" + id, {{"title", "x"}}).status, 404) << "it was undone on its device";
    EXPECT_EQ(byId(pull(token)["tasks"], id)["title"], "Write");
}

TEST_P(RecordsTest, DeletingATaskTakesWhatBelongsToItAndBeatsEdits) {
    const std::string keep = newTask();
    const std::string id = newTask();
    const std::string run = newEntry(id);
    const std::string to = newId();
    const std::string from = newId();
    EXPECT_EQ(op("POST", "/switch-logs", switchLog(to, id)).status, 200);
    Json away = switchLog(from, keep);
    away["fromTaskId"] = id;
    EXPECT_EQ(op("POST", "/switch-logs", away).status, 200);
    clock.advance(Millis{1000});
    EXPECT_EQ(op("DELETE", "/tasks/" + id).status, 200);

    const Json pulled = pull(token);
    EXPECT_EQ(pulled["tasks"].size(), 1U);
    EXPECT_TRUE(pulled["timeEntries"].empty());
    EXPECT_EQ(pulled["switchLogs"].size(), 1U);
    EXPECT_FALSE(byId(pulled["switchLogs"], from).contains("fromTaskId"));
    for (const std::string& gone : {id, run, to}) {
        EXPECT_EQ(byId(pulled["deleted"], gone)["deletedAt"], now());
    }
    EXPECT_EQ(byId(pulled["deleted"], run)["kind"], "timeEntry");
    EXPECT_EQ(op("PATCH", "/tasks/" + id, {{"title", "late"}}).status, 404);
    EXPECT_EQ(op("PATCH", "/time-entries/" + run, {{"endedAt", now()}, {"durationMs", 1000}}).status, 404);
    EXPECT_EQ(op("POST", "/time-entries", entry(newId(), id)).status, 400);
    EXPECT_EQ(op("DELETE", "/tasks/" + id).status, 200);
    EXPECT_EQ(op("DELETE", "/tasks/" + newId()).status, 404);
    Json late = switchLog(newId(), keep);
    late["fromTaskId"] = id;
    EXPECT_EQ(op("POST", "/switch-logs", late).status, 200) << "the switch to the task that stays happened";
    // Undo sends everything again.
    EXPECT_EQ(op("POST", "/tasks", task(id)).status, 200);
    EXPECT_EQ(op("POST", "/time-entries", entry(run, id)).status, 200);
    EXPECT_EQ(op("PATCH", "/switch-logs/" + from, {{"fromTaskId", id}}).status, 200);
    EXPECT_EQ(byId(pull(token)["switchLogs"], from)["fromTaskId"], id);
    EXPECT_FALSE(isDeleted(pull(token), run));
    EXPECT_EQ(byId(pull(token)["tasks"], id)["isActive"], true);
    EXPECT_EQ(op("DELETE", "/time-entries/" + run).status, 200);
    EXPECT_EQ(op("DELETE", "/switch-logs/" + from).status, 200);
    EXPECT_TRUE(isDeleted(pull(token), run) && isDeleted(pull(token), from));
    EXPECT_EQ(byId(pull(token)["tasks"], id)["isActive"], false) << "nothing runs any more";
}

TEST_P(RecordsTest, DeletingAProjectLeavesItsTasksWithoutOne) {
    const std::string tagId = newId();
    EXPECT_EQ(op("POST", "/tags", tag(tagId)).status, 200);
    const std::string id = newTask();
    EXPECT_EQ(op("PATCH", "/tasks/" + id, {{"tagId", tagId}}).status, 200);
    const std::string term = newId();
    EXPECT_EQ(op("POST", "/dictionaries", {{"id", term}, {"tagId", tagId}, {"term", "x"}, {"hint", ""}}).status, 200);
    EXPECT_EQ(op("PATCH", "/tags/" + tagId, {{"name", "Brivio"}}).status, 200);
    EXPECT_EQ(pull(token)["tags"][0]["name"], "Brivio");
    clock.advance(Millis{1000});
    EXPECT_EQ(op("DELETE", "/tags/" + tagId).status, 200);
    const Json pulled = pull(token);
    EXPECT_FALSE(byId(pulled["tasks"], id).contains("tagId"));
    EXPECT_EQ(byId(pulled["tasks"], id)["updatedAt"], now());
    EXPECT_EQ(op("PATCH", "/tasks/" + id, {{"tagId", tagId}}).status, 400);
    EXPECT_EQ(pulled["dictionaries"].size(), 1U);
    EXPECT_EQ(op("POST", "/dictionaries", {{"id", term}, {"tagId", tagId}, {"term", "y"}, {"hint", "z"}}).status, 200);
    EXPECT_EQ(byId(pull(token)["dictionaries"], term)["term"], "y");
    EXPECT_EQ(op("DELETE", "/dictionaries/" + term).status, 200);
    EXPECT_TRUE(isDeleted(pull(token), term));
}

TEST_P(RecordsTest, OfTwoRunningEntriesTheLaterGoesOn) {
    const std::string a = newTask();
    const std::string b = newTask();
    const std::string first = newEntry(a);
    clock.advance(Millis{60'000});
    // Another device, which has not heard of it, starts the other task.
    const std::string second = newEntry(b);
    Json pulled = pull(token);
    EXPECT_EQ(byId(pulled["timeEntries"], first)["durationMs"], 60'000);
    EXPECT_EQ(byId(pulled["timeEntries"], first)["endedAt"], now());
    EXPECT_FALSE(byId(pulled["timeEntries"], second).contains("endedAt"));
    EXPECT_EQ(byId(pulled["tasks"], a)["isActive"], false);
    EXPECT_EQ(byId(pulled["tasks"], b)["isActive"], true);
    // An earlier one that comes later ends at once.
    Json late = entry(newId(), a);
    late["startedAt"] = formatInstant(clock.now() - Millis{30'000});
    EXPECT_EQ(op("POST", "/time-entries", late).status, 200);
    pulled = pull(token);
    EXPECT_EQ(byId(pulled["timeEntries"], late["id"])["durationMs"], 30'000);
    EXPECT_EQ(byId(pulled["tasks"], b)["isActive"], true);
    close(second, byId(pulled["timeEntries"], second));
    EXPECT_EQ(byId(pull(token)["tasks"], b)["isActive"], false);
    EXPECT_EQ(op("PATCH", "/tasks/" + b, {{"isActive", true}}).status, 200);
    EXPECT_EQ(byId(pull(token)["tasks"], b)["isActive"], false) << "nothing runs";
}

TEST_P(RecordsTest, NobodyReachesAnothersRecords) {
    const std::string tagId = newId();
    EXPECT_EQ(op("POST", "/tags", tag(tagId)).status, 200);
    const std::string id = newTask("secret");
    const std::string run = newEntry(id);
    const std::string log = newId();
    EXPECT_EQ(op("POST", "/switch-logs", switchLog(log, id)).status, 200);
    const std::string term = newId();
    EXPECT_EQ(op("POST", "/dictionaries", {{"id", term}, {"term", "x"}, {"hint", ""}}).status, 200);
    const Json before = pull(token);

    const std::vector<std::pair<std::string, Json>> changes{
        {"/tasks/" + id, {{"title", "mine"}}},
        {"/time-entries/" + run, {{"endedAt", now()}, {"durationMs", 1}}},
        {"/switch-logs/" + log, {{"reason", "mine"}}},
        {"/tags/" + tagId, {{"name", "mine"}}},
    };
    for (const auto& [path, body] : changes) {
        EXPECT_EQ(send(other, "PATCH", path, body).status, 404) << path;
        EXPECT_EQ(send(other, "DELETE", path).status, 404) << path;
    }
    EXPECT_EQ(send(other, "DELETE", "/dictionaries/" + term).status, 404);
    EXPECT_EQ(send(other, "POST", "/time-entries", entry(newId(), id)).status, 400);
    EXPECT_EQ(send(other, "POST", "/switch-logs", switchLog(newId(), id)).status, 400);
    Json tagged = task(newId());
    tagged["tagId"] = tagId;
    EXPECT_EQ(send(other, "POST", "/tasks", tagged).status, 400);
    EXPECT_EQ(send(other, "POST", "/dictionaries", Json{{"id", newId()}, {"tagId", tagId}, {"term", "x"}, {"hint", ""}})
                  .status,
              400);
    // The same id is theirs alone.
    EXPECT_EQ(send(other, "POST", "/tasks", task(id, "theirs")).status, 200);
    EXPECT_EQ(send(other, "DELETE", "/tasks/" + id).status, 200);
    EXPECT_EQ(pull(token), before);
    EXPECT_EQ(pull(other)["timeEntries"].size() + pull(other)["tags"].size(), 0U);
    for (const std::string& wrong : {std::string(64, '0'), token.substr(1), token + "0", std::string("x")}) {
        EXPECT_EQ(send(wrong, "GET", "/sync/pull").status, 401);
    }
}

TEST_P(RecordsTest, ARangeHoldsWhatIsDatedOrChangedInItByTheDevicesZone) {
    // 10:00 on the tenth in UTC; the user lives ten hours east, where it is eight in the evening.
    const std::string old = newTask("old");
    const std::string oldEntry = newEntry(old);
    const Json started = pull(token)["timeEntries"][0];
    clock.advance(Millis{20LL * 3'600'000});  // 16:00 on the eleventh there
    close(oldEntry, started);
    const std::string fresh = newTask("fresh");
    clock.advance(Millis{9LL * 3'600'000});  // 01:00 on the twelfth there, still the eleventh in UTC
    const std::string late = newTask("late");
    const std::string run = newEntry(late);
    const std::string tagId = newId();
    EXPECT_EQ(op("POST", "/tags", tag(tagId)).status, 200);
    const std::string doomed = newTask("doomed");
    clock.advance(Millis{72LL * 3'600'000});
    EXPECT_EQ(op("DELETE", "/tasks/" + doomed).status, 200);

    const Json eleventh = pull(token, "?from=2026-11-11&to=2026-11-11", "-600");
    EXPECT_EQ(byId(eleventh["tasks"], fresh)["title"], "fresh");
    EXPECT_EQ(byId(eleventh["timeEntries"], oldEntry)["durationMs"], 72'000'000) << "it ends in the day";
    EXPECT_TRUE(byId(eleventh["tasks"], old)["id"].is_string()) << "it was active until then, so it changed";
    EXPECT_EQ(byId(eleventh["timeEntries"], run)["id"], run) << "the running entry is always there";
    EXPECT_EQ(eleventh["tags"].size(), 1U);
    EXPECT_TRUE(eleventh["deleted"].empty());
    EXPECT_EQ(eleventh["earliestDate"], "2026-11-10");

    const Json tenth = pull(token, "?from=2026-11-10&to=2026-11-10", "-600");
    EXPECT_EQ(byId(tenth["tasks"], old)["title"], "old");
    EXPECT_TRUE(byId(tenth["tasks"], fresh).is_null());
    const Json twelfth = pull(token, "?from=2026-11-12&to=2026-11-12", "-600");
    EXPECT_TRUE(byId(twelfth["tasks"], fresh).is_null());
    EXPECT_TRUE(byId(twelfth["timeEntries"], oldEntry).is_null());
    EXPECT_TRUE(isDeleted(twelfth, doomed)) << "its day is in the range";
    EXPECT_TRUE(isDeleted(pull(token, "?from=2026-11-15&to=2026-11-15", "-600"), doomed)) << "deleted in the range";

    for (const char* query :
         {"?from=2026-11-10", "?from=2026-11-11&to=2026-11-10", "?from=x&to=y", "?from=2026-02-30&to=2026-03-01",
          "?from=%zz&to=1", "?from=2026-01-01&to=2026-01-01&to=x"}) {
        EXPECT_EQ(send(token, "GET", std::string("/sync/pull") + query).status, 400) << query;
    }
    EXPECT_EQ(send(token, "GET", "/sync/pull", "", {{"x-tz-offset", "9999"}}).status, 400);
}

TEST_P(RecordsTest, ARangeHoldsEntriesThatBeganLongBeforeIt) {
    const auto spanning = [&](int days) {
        Json one = entry(newId(), newTask("old"));
        one["endedAt"] = formatInstant(clock.now() + Millis{std::chrono::hours{24} * days});
        one["durationMs"] = days * 86'400'000LL;
        EXPECT_EQ(op("POST", "/time-entries", one).status, 200);
        return one["id"].get<std::string>();
    };
    // From the tenth of November: into the middle of January, into the range, to before it.
    const std::string over = spanning(66);
    const std::string into = spanning(40);
    const std::string before = spanning(33);
    const Json december = pull(token, "?from=2026-12-16&to=2026-12-31");
    EXPECT_FALSE(byId(december["timeEntries"], over).is_null());
    EXPECT_FALSE(byId(december["timeEntries"], into).is_null());
    EXPECT_TRUE(byId(december["timeEntries"], before).is_null());
    EXPECT_TRUE(pull(token, "?from=2026-10-01&to=2026-11-09")["timeEntries"].empty()) << "they begin later";
}

TEST_P(RecordsTest, UnitsOfOneCommitFailAlone) {
    std::vector<Request> requests;
    std::vector<std::string> ids;
    for (int i = 0; i < 100; ++i) {
        Request& request = requests.emplace_back();
        ids.push_back(newId());
        request.method = "POST";
        request.path = "/tasks";
        request.body = i % 3 == 0 ? "{}" : task(ids.back()).dump();
        request.headers = {{"authorization", "Bearer " + (i % 2 == 0 ? token : other)}, {"x-op-id", newId()}};
    }
    const auto outcomes = app->serve(*storage, requests);
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        EXPECT_EQ(outcomes[i].response.status, i % 3 == 0 ? 400 : 200);
    }
    EXPECT_EQ(pull(token)["tasks"].size() + pull(other)["tasks"].size(), 66U);
    const std::vector<Storage::Work> units{
        [](Transaction& transaction) { transaction.addSession("a", 1, "d", Instant{}); },
        // The same key again: the database refuses it.
        [](Transaction& transaction) { transaction.addSession("a", 1, "e", Instant{}); },
        [](Transaction& transaction) { transaction.addSession("b", 1, "f", Instant{}); },
    };
    const auto results = storage->transact(units);
    EXPECT_TRUE(results[0].has_value());
    EXPECT_FALSE(results[1].has_value());
    EXPECT_TRUE(results[2].has_value());
    std::optional<SessionRow> kept;
    EXPECT_TRUE(storage->read([&](Transaction& transaction) { kept = transaction.session("b"); }).has_value());
    EXPECT_TRUE(kept && kept->deviceId == "f");
    EXPECT_FALSE(storage->read([](Transaction& transaction) { transaction.dropSession("b"); }).has_value());
}

INSTANTIATE_TEST_SUITE_P(On, RecordsTest, testing::Values("sqlite", "postgres"),
                         [](const auto& one) { return std::string(one.param); });

}  // namespace
}  // namespace tolvik::server
