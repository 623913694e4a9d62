#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "adapters/postgres/postgres_connection.h"
#include "server/api/message.h"

namespace tolvik::server {

/// Hears what other instances announce, on a thread and a connection of its own. After a lost connection it listens
/// again within some seconds and says that there was a gap.
class NoticeListener {
public:
    NoticeListener(const std::string& address, const std::string& instance);
    NoticeListener(const NoticeListener&) = delete;
    NoticeListener& operator=(const NoticeListener&) = delete;
    ~NoticeListener();

    void onAnnouncement(std::function<void(const Announcement&)> told);
    void onEnded(std::function<void(const EndedSession&)> told);
    void onGap(std::function<void()> told);

private:
    enum class Woken : unsigned char { toEnd, byData, byTime };

    void listen();
    Woken waitFor(int socket, int milliseconds);
    void listensNow(bool listens);
    void tell(const std::string& payload);

    PostgresConnection connection_;
    int wake_ = -1;
    std::mutex guard_;
    std::function<void(const Announcement&)> announced_;
    std::function<void(const EndedSession&)> ended_;
    std::function<void()> gap_;
    bool listens_ = false;
    std::thread thread_;
};

}  // namespace tolvik::server
