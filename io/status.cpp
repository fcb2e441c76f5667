// SPDX-License-Identifier: MIT
#include "io/status.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <json-c/json.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr int NO_STREAM = -1;
// At most four progress objects a second.
constexpr int64_t PROGRESS_INTERVAL_NS = 250'000'000;
constexpr int64_t NS_PER_SECOND = 1'000'000'000;
constexpr int OUTCOME_NOTHING_TO_DO = -1;

// The stream's descriptor, and the phase that began last.
int stream_fd = NO_STREAM;
struct {
    const char* name;
    const char* subject;
    uint64_t total;
    uint64_t done;
    bool open;
    int64_t last_progress_ns;
} phase;

int64_t now_ns()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * NS_PER_SECOND + now.tv_nsec;
}

// One line, written whole or not at all: a descriptor that would block, is
// closed or takes only part of the line ends the stream, and so does a line
// longer than a pipe takes at once (a name of thousands of bytes).
void send(json_object* object)
{
    const char* text = json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN |
                                                                  JSON_C_TO_STRING_NOSLASHESCAPE);
    char line[PIPE_BUF];
    const int length = snprintf(line, sizeof line, "%s\n", text);
    json_object_put(object);
    pollfd ready{stream_fd, POLLOUT, 0};
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof line || poll(&ready, 1, 0) != 1 ||
        (ready.revents & POLLOUT) == 0 ||
        write(stream_fd, line, static_cast<std::size_t>(length)) != length) {
        stream_fd = NO_STREAM;
    }
}

json_object* event(const char* kind)
{
    json_object* object = json_object_new_object();
    json_object_object_add(object, "event", json_object_new_string(kind));
    return object;
}

void add_text(json_object* object, const char* key, const char* text)
{
    if (text != nullptr) {
        json_object_object_add(object, key, json_object_new_string(text));
    }
}

void add_number(json_object* object, const char* key, uint64_t number)
{
    json_object_object_add(object, key, json_object_new_int64(static_cast<int64_t>(number)));
}

// The phase with its bytes, for the phase and progress objects.
json_object* phase_event(const char* kind)
{
    json_object* object = event(kind);
    add_text(object, "phase", phase.name);
    add_text(object, "of", phase.subject);
    if (phase.total != 0) {
        add_number(object, "done", phase.done);
        add_number(object, "total", phase.total);
    }
    return object;
}

} // namespace

void status_open()
{
    const char* text = getenv(STATUS_FD_VARIABLE);
    if (text == nullptr || *text == '\0') {
        return;
    }
    char* end = nullptr;
    errno = 0;
    const long fd = strtol(text, &end, 10);
    // Not a number, or not an open descriptor: no stream. The utilities the
    // tool starts do not inherit it.
    if (*end != '\0' || errno != 0 || fd < 0 || fd > INT32_MAX ||
        fcntl(static_cast<int>(fd), F_SETFD, FD_CLOEXEC) != 0) {
        return;
    }
    stream_fd = static_cast<int>(fd);
}

bool status_active()
{
    return stream_fd != NO_STREAM;
}

void status_start(uint32_t board_id, const char* os_name, const char* app_name)
{
    if (!status_active()) {
        return;
    }
    char board[sizeof "0xffffffff"];
    snprintf(board, sizeof board, "0x%x", board_id);
    json_object* object = event("start");
    add_text(object, "board", board);
    add_text(object, "os", os_name);
    add_text(object, "app", app_name);
    send(object);
}

void status_begin(const char* name, const char* subject, uint64_t total)
{
    phase = {name, subject, total, 0, true, 0};
    if (!status_active()) {
        return;
    }
    json_object* object = phase_event("phase");
    add_text(object, "state", "begin");
    send(object);
    phase.last_progress_ns = now_ns();
}

void status_advance(uint64_t bytes)
{
    phase.done += bytes;
    if (!status_active() || phase.done >= phase.total) {
        return;
    }
    const int64_t now = now_ns();
    if (now - phase.last_progress_ns >= PROGRESS_INTERVAL_NS) {
        phase.last_progress_ns = now;
        send(phase_event("progress"));
    }
}

void status_end()
{
    phase.open = false;
    if (!status_active()) {
        return;
    }
    json_object* object = phase_event("phase");
    add_text(object, "state", "end");
    send(object);
}

void status_finish(int result)
{
    if (!status_active()) {
        return;
    }
    const char* outcome = "failed";
    if (!phase.open && result == 0) {
        const bool legacy = phase.name != nullptr && strcmp(phase.name, PHASE_LEGACY) == 0;
        outcome = legacy ? "legacy prepared" : "completed";
    } else if (!phase.open && result == OUTCOME_NOTHING_TO_DO) {
        outcome = "nothing to update";
    }
    json_object* object = event("outcome");
    add_text(object, "outcome", outcome);
    json_object_object_add(object, "result", json_object_new_int(result));
    if (strcmp(outcome, "failed") == 0) {
        add_text(object, "phase", phase.name != nullptr ? phase.name : "start");
    }
    send(object);
}
