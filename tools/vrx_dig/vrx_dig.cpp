// vrx-dig: one A query for NAME, sent from a given local address to a given server.
#include "common/deadline.h"
#include "common/dig_args.h"
#include "common/dns_answer.h"
#include "common/tool_main.h"

#include <ares.h>
#include <arpa/inet.h>
#include <cstdio>
#include <poll.h>

namespace {

const char* const kProgram = "vrx-dig";
// c-ares doubles the time-out on the second try: 700 + 1400 ms, about 2 s in all.
constexpr int kTryTimeoutMs = 700;
constexpr int kTries = 2;
// The whole exchange, in case the library's own timers misbehave.
constexpr int kQueryBoundMs = 3000;
constexpr unsigned kWatchdogSeconds = 6;
constexpr int kClassIn = 1;
constexpr int kTypeA = 1;

struct QueryResult {
    bool done = false;
    int status = ARES_ETIMEOUT;
    std::vector<std::string> lines;
};

void onAnswer(void* arg, int status, int /*timeouts*/, unsigned char* answer, int length) {
    QueryResult& result = *static_cast<QueryResult*>(arg);
    result.done = true;
    result.status = status;
    if (status == ARES_SUCCESS && length >= 0)
        result.status = tools::answerLines(answer, static_cast<size_t>(length), result.lines);
}

bool openChannel(const tools::DigArgs& args, ares_channel& channel) {
    ares_options options{};
    options.timeout = kTryTimeoutMs;
    options.tries = kTries;
    // No search list and no /etc/hosts: exactly one question, to exactly one server.
    options.flags = ARES_FLAG_NOSEARCH;
    int mask = ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_FLAGS;
    if (ares_init_options(&channel, &options, mask) != ARES_SUCCESS)
        return false;
    char server[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &args.server, server, sizeof server);
    std::string csv = std::string(server) + ":" + std::to_string(args.port);
    if (ares_set_servers_ports_csv(channel, csv.c_str()) != ARES_SUCCESS) {
        ares_destroy(channel);
        return false;
    }
    ares_set_local_ip4(channel, ntohl(args.bindAddress.s_addr));
    return true;
}

// Drives the channel's sockets until the query has its callback or the bound is reached.
void driveChannel(ares_channel channel, const QueryResult& result) {
    tools::Deadline end(kQueryBoundMs);
    while (!result.done && !end.expired()) {
        ares_socket_t sockets[ARES_GETSOCK_MAXNUM];
        int mask = ares_getsock(channel, sockets, ARES_GETSOCK_MAXNUM);
        pollfd entries[ARES_GETSOCK_MAXNUM];
        nfds_t used = 0;
        for (int i = 0; i < ARES_GETSOCK_MAXNUM; ++i) {
            short events = static_cast<short>((ARES_GETSOCK_READABLE(mask, i) ? POLLIN : 0) |
                                              (ARES_GETSOCK_WRITABLE(mask, i) ? POLLOUT : 0));
            if (events != 0)
                entries[used++] = {sockets[i], events, 0};
        }
        timeval maxWait{end.remainingMs() / 1000, (end.remainingMs() % 1000) * 1000L};
        timeval wait{};
        ares_timeout(channel, &maxWait, &wait);
        int waitMs = static_cast<int>(wait.tv_sec * 1000 + wait.tv_usec / 1000);
        poll(entries, used, waitMs);
        for (nfds_t i = 0; i < used; ++i) {
            bool readable = entries[i].revents & (POLLIN | POLLERR | POLLHUP);
            bool writable = entries[i].revents & POLLOUT;
            ares_process_fd(channel, readable ? entries[i].fd : ARES_SOCKET_BAD,
                            writable ? entries[i].fd : ARES_SOCKET_BAD);
        }
        if (used == 0)
            ares_process_fd(channel, ARES_SOCKET_BAD, ARES_SOCKET_BAD);
    }
}

// "No such name" and "no A record" are answers too; only silence and errors are failures.
bool answered(int status) {
    return status == ARES_SUCCESS || status == ARES_ENODATA || status == ARES_ENOTFOUND;
}

int run(const tools::DigArgs& args) {
    tools::armWatchdog(kWatchdogSeconds);
    if (ares_library_init(ARES_LIB_INIT_ALL) != ARES_SUCCESS)
        return tools::ExitFailed;
    ares_channel channel = nullptr;
    if (!openChannel(args, channel)) {
        tools::complain(kProgram, "cannot set up the resolver");
        return tools::ExitFailed;
    }
    QueryResult result;
    ares_query(channel, args.name.c_str(), kClassIn, kTypeA, onAnswer, &result);
    driveChannel(channel, result);
    bool finished = result.done;
    // Destroying runs the callback of an unfinished query, so it must happen while result lives.
    ares_destroy(channel);
    if (!finished)
        result.status = ARES_ETIMEOUT;
    ares_library_cleanup();
    for (const std::string& line : result.lines)
        std::printf("%s\n", line.c_str());
    if (!answered(result.status)) {
        tools::complain(kProgram, args.name + ": " + ares_strerror(result.status));
        return tools::ExitFailed;
    }
    return tools::ExitOk;
}

} // namespace

int main(int argc, char** argv) {
    tools::DigArgs args;
    std::string error;
    tools::ParseStatus status = tools::parseDigArgs(tools::argList(argc, argv), args, error);
    int exitStatus = tools::finishParse(status, kProgram, tools::kDigUsage, error);
    return exitStatus >= 0 ? exitStatus : run(args);
}
