// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The calls of the cover's service in the phone's journal, whoever the client is.
#pragma once

#include <memory>
#include <string>

#include "emulator/phone/Phone.h"

namespace calls {

class ClientCalls {
  public:
    // Listens at <folder>/calls.sock, which no other emulator uses, until destroyed. A service that
    // registers while it does hands out its calls; they are in the journal when a reader asks for
    // it, or at once while one waits. Throws phone::Error when the socket cannot be made.
    ClientCalls(phone::Journal& journal, phone::EventLoop& loop, const std::string& folder);
    ClientCalls(phone::Phone& phone, const std::string& folder)
        : ClientCalls(phone.journal(), phone.loop(), folder) {}
    // The journal has all calls that ended before.
    ~ClientCalls();
    ClientCalls(const ClientCalls&) = delete;
    ClientCalls& operator=(const ClientCalls&) = delete;

  private:
    class Rings;

    void acceptAll();
    void listenTo(android::base::unique_fd connection);
    void hear(int connection);

    phone::Journal& mJournal;
    phone::EventLoop& mLoop;
    const std::shared_ptr<Rings> mRings;
    android::base::unique_fd mFolder;
    android::base::unique_fd mListener;
    ino_t mSocket = 0;
};

}  // namespace calls
