// Holds the log of this user and serves it until it is told to end; prints "ready" once it does. With --silent it
// holds the lock and does not serve.

#include <csignal>
#include <iostream>
#include <pthread.h>
#include <string_view>
#include <thread>

#include "adapters/asio/asio_main_loop.h"
#include "adapters/socket/command_socket_server.h"
#include "adapters/system/system_clock.h"
#include "adapters/system/system_random.h"
#include "adapters/system/system_time_zone.h"
#include "adapters/system/thread_workers.h"
#include "commands/account_commands.h"
#include "commands/command_service.h"
#include "dictionary/dictionary_manager.h"
#include "services/log_access.h"
#include "services/log_services.h"
#include "sync/sync_service.h"

using namespace tolvik;

int main(int argc, char** argv) {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);

    const Paths paths = locatePaths();
    auto access = askOrLock(paths, encode(CommandRequest{"raise", {}, {}}));
    if (!access || !std::holds_alternative<std::unique_ptr<StoreLock>>(*access)) {
        std::cerr << "somebody else holds the log\n";
        return 3;
    }
    const SystemClock clock;
    const SystemTimeZone zone;
    SystemRandom random;
    AsioMainLoop loop;
    ThreadWorkers workers;
    std::thread signals([&] {
        int signal = 0;
        sigwait(&ending, &signal);
        loop.quit();
    });
    if (argc > 1 && std::string_view(argv[1]) == "--silent") {
        std::cout << "ready" << '\n' << std::flush;
        loop.run();
        signals.join();
        return 0;
    }
    auto services = LogServices::open(
        paths, {.clock = clock, .timeZone = zone, .random = random, .loop = loop, .workers = workers});
    if (!services) {
        std::cerr << describe(services.error()) << "\n";
        std::quick_exit(3);
    }
    AccountCommands account({.session = (*services)->session(),
                             .auth = (*services)->auth(),
                             .profile = (*services)->profile(),
                             .outbox = (*services)->outbox(),
                             .endpoint = (*services)->endpoint(),
                             .loop = loop,
                             .goOnline = [&] { (*services)->goOnline(); },
                             .pullAll =
                                 [&](std::function<void(bool)> pulled) {
                                     (*services)->sync()->pullAll([pulled = std::move(pulled)](const auto& outcome) {
                                         pulled(outcome.has_value());
                                     });
                                 }});
    CommandService service({.store = (*services)->store(),
                            .values = (*services)->values(),
                            .executor = (*services)->executor(),
                            .clock = clock,
                            .timeZone = zone,
                            .terms = [&] { return (*services)->dictionary().terms(); },
                            .dictionary = &(*services)->dictionary(),
                            .account = &account,
                            .folder = paths.data,
                            .raise = [] { std::cout << "raised" << '\n'
                                                    << std::flush; }});
    auto server = CommandSocketServer::start(paths.socket(), loop,
                                             [&](const std::string& request, CommandSocketServer::Reply reply) {
                                                 service.answer(request, std::move(reply));
                                             });
    if (!server) {
        std::cerr << server.error() << "\n";
        std::quick_exit(3);
    }
    std::cout << "ready" << '\n' << std::flush;
    loop.run();
    server->reset();
    signals.join();
    return 0;
}
