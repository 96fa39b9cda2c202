// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Finds the calls in what the thread that serves clients did.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "emulator/phonelog/CallTable.h"
#include "emulator/phonelog/Calls.h"

namespace phonelog {

class CallReader {
  public:
    CallReader(Draft& draft, const PanelStates& panel, Calls& calls);

    void read(const Thread& thread);

  private:
    using Json = recording::Json;

    // --- the steps from mAt on; "" and null beyond the end ---
    std::string_view line(size_t ahead = 0) const;
    const Exchange* exchange(size_t ahead = 0) const;
    bool isCommand(size_t ahead, std::string_view begin) const;
    size_t lineIndex() const { return mThread->steps[mAt].line; }
    bool isEnd() const { return mAt >= mThread->steps.size(); }
    bool beginsCall() const;
    // Goes on to the next call; true when a line on the way contains `text`.
    bool passed(std::string_view text) const;

    // --- each takes one call, from mAt on ---
    void takeCall();
    bool takeLineCall(std::string_view text);
    bool takeNodeCall(std::string_view text);
    bool takeRefusedCall(std::string_view text);
    void takeExchangeCall(const Exchange& exchange);
    bool takeValueCall(const Exchange& exchange);
    void takePassThrough();
    void takeVersion(const Exchange& exchange);
    void takePowerOn();
    void takePowerOff(const Exchange& exchange);
    size_t colourSteps(size_t ahead) const;
    bool precedesPowerOn() const;
    void takeColours(bool beforePower);
    void takeAesMode(const Exchange& exchange);
    void takeUpdateState();
    void takeFrame();
    void takeCallback(std::string_view text);
    void takePanelPower(std::string_view text);
    void takePanelBrightness(std::string_view text);
    void takeOffset(std::string_view text);

    bool isScreenOn() const;
    bool clearsLpwg() const;
    void begin() { mFirst = lineIndex(); }
    // A call from begin() to the step before mAt, its tail included.
    void add(const std::string& method, const Json& arguments, const Json& results,
             const std::string& led);
    void addStatus(const std::string& method, const Json& arguments, bool isOk,
                   const std::string& led);
    void skipTail();

    Draft& mDraft;
    const PanelStates& mPanel;
    Calls& mCalls;
    const Thread* mThread = nullptr;
    size_t mAt = 0;
    size_t mFirst = 0;
    std::vector<size_t> mDetaches;                // lines
    size_t mStoppedAt = 0;                        // the last line that says so; 0: none
    size_t mScreenOnAt = SIZE_MAX;                // the line of the call; SIZE_MAX: it is off
    std::map<std::string, std::string> mColours;  // last values by command
};

}  // namespace phonelog
