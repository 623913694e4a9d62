#include "app/desktop/command_endpoint.h"

#include <spdlog/spdlog.h>
#include <string>
#include <utility>

#include "dictionary/dictionary_manager.h"
#include "sync/sync_service.h"

namespace tolvik {

CommandEndpoint::CommandEndpoint(Ports ports)
    : account_({.session = ports.services.session(),
                .auth = ports.services.auth(),
                .profile = ports.services.profile(),
                .outbox = ports.services.outbox(),
                .endpoint = ports.services.endpoint(),
                .loop = ports.loop,
                .goOnline = [&services = ports.services] { services.goOnline(); },
                .pullAll =
                    [&services = ports.services](std::function<void(bool)> pulled) {
                        services.sync()->pullAll(
                            [pulled = std::move(pulled)](const auto& outcome) { pulled(outcome.has_value()); });
                    }}),
      service_(CommandService::Ports{.store = ports.services.store(),
                                     .values = ports.services.values(),
                                     .executor = ports.services.executor(),
                                     .clock = ports.clock,
                                     .timeZone = ports.timeZone,
                                     .terms = [&services = ports.services] { return services.dictionary().terms(); },
                                     .dictionary = &ports.services.dictionary(),
                                     .account = &account_,
                                     .folder = ports.services.paths().data,
                                     .telemetryChanged = std::move(ports.telemetryChanged),
                                     .raise = std::move(ports.raise)}) {
    auto server = CommandSocketServer::start(
        ports.services.paths().socket(), ports.loop,
        [this](const std::string& request, auto reply) { service_.answer(request, std::move(reply)); });
    if (server) {
        server_ = std::move(*server);
    } else {
        spdlog::error("the command line cannot reach this process: {}", server.error());
    }
}

}  // namespace tolvik
