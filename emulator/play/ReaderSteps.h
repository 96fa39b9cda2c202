// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The steps of a scenario, as the reader makes them. All throw Wrong.
#pragma once

#include <string>
#include <vector>

#include "emulator/play/ReaderExpectations.h"

namespace play {

class Steps {
  public:
    explicit Steps(const std::filesystem::path& file)
        : mValues(file), mPictures(mValues), mExpectations(mValues, mPictures) {}

    std::vector<Step> steps(const Value& value);
    // What is done at the start: words of ctl.
    std::vector<Step> deeds(const Value& value);

    const Values& values() const { return mValues; }

  private:
    struct Verb;

    const Verb& verbOf(const Value& map) const;
    void requireRoom(const Value& value, size_t steps) const;
    void addStep(const Value& map, std::vector<Step>& all);
    void addDeeds(const Value& value, std::vector<Step>& all);
    void requireFault(const Value& value, const Json& given) const;
    Call call(const Value& map, const Value& method);
    Run run(const Value& map, const Value& words) const;
    Wait wait(const Value& map, const Value& conditions);
    Expect expect(const Value& map, const Value& items, bool inOrder);
    Json arguments(const Value& value, const std::string& method);
    Milliseconds limit(const Value& map, Milliseconds otherwise) const;

    const Values mValues;
    Pictures mPictures;
    Expectations mExpectations;
};

}  // namespace play
