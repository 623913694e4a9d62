#include "backend/profile_answers.h"

#include <spdlog/spdlog.h>
#include <utility>

namespace tolvik {

ProfileAnswers profileAnswersIn(const ValueStore& values) {
    return {.role = values.text(profileSetting::role),
            .useCase = values.text(profileSetting::useCase),
            .source = values.text(profileSetting::source)};
}

Result<void, StoreError> keepProfileAnswers(ValueStore& values, const ProfileAnswers& answers) {
    for (const auto& [key, answer] :
         {std::pair{profileSetting::role, &answers.role}, std::pair{profileSetting::useCase, &answers.useCase},
          std::pair{profileSetting::source, &answers.source}}) {
        if (auto kept = values.setText(key, *answer); !kept) {
            return kept;
        }
    }
    return {};
}

Result<void, StoreError> saveProfileAnswers(ValueStore& values, const ProfileAnswers& answers) {
    auto kept = keepProfileAnswers(values, answers);
    return kept ? values.setFlag(profileSetting::pendingSync, answers != ProfileAnswers{}) : kept;
}

ProfileAnswersUpload::ProfileAnswersUpload(Ports ports)
    : ports_(ports), sessionChanged_(ports.session.onChanged([this] { sync(); })) {}

void ProfileAnswersUpload::sync() {
    if (exchange_ != nullptr || !ports_.values.flag(profileSetting::pendingSync, false)) {
        return;
    }
    const auto answers = profileAnswersIn(ports_.values);
    auto request = authorisedRequest(
        ports_.endpoint, ports_.session,
        {.method = "POST",
         .path = "/profile",
         .body = jsonObject({{"role", answers.role}, {"useCase", answers.useCase}, {"source", answers.source}}),
         .namesClient = false});
    if (!request) {
        return;
    }
    exchange_ = ports_.http.send(std::move(request->request), [this, answers, token = request->token](
                                                                  const Result<HttpResponse, HttpFailure>& answer) {
        const auto over = std::exchange(exchange_, nullptr);
        if (!answer) {
            return;
        }
        if (answer->status == 401) {
            ports_.session.handleUnauthorized(token);
        } else if (answer->status != 200) {
            spdlog::warn("the server did not take the profile (HTTP {})", answer->status);
        } else if (answers != profileAnswersIn(ports_.values)) {
            // They were changed while the old ones travelled.
            sync();
        } else if (const auto kept = ports_.values.setFlag(profileSetting::pendingSync, false); !kept) {
            spdlog::warn("the profile will be sent again: {}", describe(kept.error()));
        }
    });
}

}  // namespace tolvik
