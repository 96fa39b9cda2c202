// The phone, as a service sees it whose clients may hold it for longer than there is a phone.
#pragma once

#include <mutex>
#include <string>

#include "emulator/phone/Phone.h"

namespace neighbours {

// Any thread may use it.
class PhoneLink {
  public:
    explicit PhoneLink(phone::Phone& phone) : mPhone(&phone) {}

    // There is no phone any more.
    void cut();

    // Writes a call that was answered into the journal, behind what was written before it.
    void note(const char* method, const std::string& arguments, const std::string& result);

    // False without a phone.
    bool isCoverAttached();

  private:
    std::mutex mLock;
    phone::Phone* mPhone;  // guarded by mLock
};

}  // namespace neighbours
