// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a scenario expects and waits for, as the reader makes it. All throw Wrong.
#pragma once

#include <string>
#include <vector>

#include "emulator/play/ReaderPictures.h"
#include "emulator/play/ReaderValues.h"

namespace play {

class Expectations {
  public:
    Expectations(const Values& values, Pictures& pictures) : mValues(values), mPictures(pictures) {}

    // Of "expect" and "never": one or a list.
    std::vector<Expectation> items(const Value& value, const std::string& step);
    // Of "wait": what can hold for a while, one or a list.
    std::vector<Expectation> conditions(const Value& value);

  private:
    using Patterns = std::vector<decltype(Expectation::what)>;

    Patterns item(const Value& value, const std::string& step);
    Patterns condition(const Value& value);
    EntryPattern command(const Value& value) const;
    EntryPattern node(const Value& value) const;
    EntryPattern callback(const Value& value) const;
    EntryPattern entry(const Value& value) const;
    LogPattern log(const Value& value) const;
    Patterns state(const Value& value) const;

    const Values& mValues;
    Pictures& mPictures;
};

}  // namespace play
