// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/EventStream.h"

#include <poll.h>
#include <sys/eventfd.h>

namespace ui {

namespace {

// A comment as seldom as this keeps the connection alive.
constexpr int kSilenceMs = 15'000;

}  // namespace

EventStream::EventStream(Store& store, Feed& feed, int connection)
    : mStore(store),
      mConnection(connection),
      mWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      mOpen(feed.open()),
      mWatch(store.watch([fd = mWake.get()] { eventfd_write(fd, 1); })) {}

bool EventStream::await() {
    pollfd watched[] = {{mWake.get(), POLLIN, 0}, {mConnection, POLLRDHUP, 0}};
    poll(watched, 2, kSilenceMs);
    eventfd_t ignored;
    eventfd_read(mWake.get(), &ignored);
    return watched[1].revents == 0;
}

bool EventStream::pass(httplib::DataSink& sink) {
    std::string events = mStore.take(mCursor);
    if (events.empty()) {
        if (!await()) return false;
        events = mStore.take(mCursor);
    }
    if (events.empty()) events = ":\n\n";
    return sink.write(events.data(), events.size());
}

}  // namespace ui
