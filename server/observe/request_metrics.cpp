#include "server/observe/request_metrics.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <unistd.h>

namespace tolvik::server {
namespace {

void gauge(std::string& out, std::string_view name, std::string_view help, std::string_view type, std::int64_t value) {
    fmt::format_to(std::back_inserter(out), "# HELP tolvik_{0} {1}\n# TYPE tolvik_{0} {2}\ntolvik_{0} {3}\n", name,
                   help, type, value);
}

std::int64_t valueOf(const std::atomic<std::uint64_t>& counter) {
    return static_cast<std::int64_t>(counter.load());
}

}  // namespace

void RequestMetrics::answered(std::string_view route, int status, std::chrono::nanoseconds took) {
    const double seconds = std::chrono::duration<double>(took).count();
    const auto bucket = static_cast<std::size_t>(std::ranges::lower_bound(bounds, seconds) - bounds.begin());
    const std::lock_guard lock(mutex_);
    auto found = routes_.find(route);
    if (found == routes_.end()) {
        found = routes_.emplace(std::string(route), Route()).first;
    }
    ++found->second.byStatus[status];
    ++found->second.buckets[bucket];
    found->second.seconds += seconds;
}

void RequestMetrics::count(std::string_view event) {
    const std::lock_guard lock(mutex_);
    const auto found = events_.find(event);
    ++(found != events_.end() ? found : events_.emplace(std::string(event), 0).first)->second;
}

std::string RequestMetrics::text(const NetworkCounters& network) const {
    std::string out;
    gauge(out, "connections_open", "Connections, streams included.", "gauge", network.connectionsOpen);
    gauge(out, "streams_open", "Open change streams.", "gauge", network.streamsOpen);
    gauge(out, "body_bytes_held", "Request bodies in memory.", "gauge", network.bodyBytesHeld);
    gauge(out, "connections_accepted_total", "Connections taken.", "counter", valueOf(network.connectionsAccepted));
    gauge(out, "connections_refused_total", "Connections over a limit.", "counter",
          valueOf(network.connectionsRefused));
    gauge(out, "handshakes_failed_total", "TLS handshakes that failed.", "counter", valueOf(network.handshakesFailed));
    gauge(out, "requests_malformed_total", "Requests refused before a handler.", "counter",
          valueOf(network.requestsMalformed));
    gauge(out, "requests_timed_out_total", "Requests that arrived too slowly.", "counter",
          valueOf(network.requestsTimedOut));
    gauge(out, "stream_events_total", "Announcements written to streams.", "counter",
          valueOf(network.streamEventsSent));
    gauge(out, "resident_bytes", "Memory of the process.", "gauge", static_cast<std::int64_t>(residentBytes()));
    const std::lock_guard lock(mutex_);
    out += "# HELP tolvik_events_total What happened, by name.\n# TYPE tolvik_events_total counter\n";
    for (const auto& [name, count] : events_) {
        fmt::format_to(std::back_inserter(out), "tolvik_events_total{{event=\"{}\"}} {}\n", name, count);
    }
    out += "# HELP tolvik_requests_total Answers.\n# TYPE tolvik_requests_total counter\n";
    for (const auto& [name, route] : routes_) {
        for (const auto& [status, count] : route.byStatus) {
            fmt::format_to(std::back_inserter(out), "tolvik_requests_total{{route=\"{}\",status=\"{}\"}} {}\n", name,
                           status, count);
        }
    }
    out += "# HELP tolvik_request_seconds Time to the answer.\n# TYPE tolvik_request_seconds histogram\n";
    for (const auto& [name, route] : routes_) {
        std::uint64_t total = 0;
        for (std::size_t at = 0; at < route.buckets.size(); ++at) {
            total += route.buckets[at];
            const auto bound = at < bounds.size() ? fmt::format("{}", bounds[at]) : std::string("+Inf");
            fmt::format_to(std::back_inserter(out), "tolvik_request_seconds_bucket{{route=\"{}\",le=\"{}\"}} {}\n",
                           name, bound, total);
        }
        fmt::format_to(
            std::back_inserter(out),
            "tolvik_request_seconds_sum{{route=\"{0}\"}} {1}\ntolvik_request_seconds_count{{route=\"{0}\"}} {2}\n",
            name, route.seconds, total);
    }
    return out;
}

std::uint64_t residentBytes() {
    std::ifstream file("/proc/self/statm");
    std::uint64_t all = 0;
    std::uint64_t resident = 0;
    file >> all >> resident;
    return file ? resident * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) : 0;
}

}  // namespace tolvik::server
