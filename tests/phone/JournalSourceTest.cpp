// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The journal and a source whose entries wait until somebody asks.

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "emulator/phone/Journal.h"

namespace {

using phone::Journal;
using phone::Kind;
using testing::ElementsAre;

// Has an entry for each time that it is asked.
class Counting : public phone::Source {
  public:
    explicit Counting(Journal& journal) : mJournal(journal) {}
    void drain() override { mJournal.add(Kind::Mark, "", std::to_string(++drained)); }
    void follow(bool isFollowed) override { followed.push_back(isFollowed); }

    int drained = 0;
    std::vector<bool> followed;

  private:
    Journal& mJournal;
};

TEST(JournalSourceTest, AReaderFindsWhatTheSourceHas) {
    Journal journal;
    const auto source = std::make_shared<Counting>(journal);
    journal.setSource(source);
    EXPECT_EQ(journal.next(), 2u);
    EXPECT_THAT(journal.list(Kind::Mark), ElementsAre("1", "2"));
    journal.setSource(nullptr);
    EXPECT_EQ(journal.next(), 3u);
    EXPECT_THAT(source->followed, ElementsAre(false));
}

TEST(JournalSourceTest, WhoWaitsFollowsTheSource) {
    Journal journal;
    const auto source = std::make_shared<Counting>(journal);
    journal.setSource(source);
    EXPECT_EQ(journal.waitFor(is(Kind::Mark, "1")).seq, 1u);
    EXPECT_THAT(source->followed, ElementsAre(false, true, false));
    EXPECT_FALSE(journal.waitFor(is(Kind::Mark, "none"), 1, std::chrono::milliseconds(1)));
    EXPECT_THAT(source->followed, ElementsAre(false, true, false, true, false));
    EXPECT_EQ(source->drained, 2);
}

TEST(JournalSourceTest, TheLastOfSeveralFollowersEndsIt) {
    Journal journal;
    const auto source = std::make_shared<Counting>(journal);
    std::optional<Journal::Follower> first(journal);
    // One that was there before the source.
    journal.setSource(source);
    EXPECT_THAT(source->followed, ElementsAre(true));
    std::optional<Journal::Follower> second(journal);
    first.reset();
    EXPECT_THAT(source->followed, ElementsAre(true));
    second.reset();
    EXPECT_THAT(source->followed, ElementsAre(true, false));
}

TEST(JournalSourceTest, ItsFileFollowsTheSource) {
    Journal journal;
    const auto source = std::make_shared<Counting>(journal);
    ASSERT_TRUE(journal.writeTo("/dev/null"));
    journal.setSource(source);
    EXPECT_THAT(source->followed, ElementsAre(true));
    EXPECT_TRUE(journal.waitFor(is(Kind::Mark, "1"), 1, std::chrono::seconds(0)));
    EXPECT_THAT(source->followed, ElementsAre(true));
}

TEST(JournalSourceTest, WhoAwaitsANumberFollowsTheSource) {
    Journal journal;
    const auto source = std::make_shared<Counting>(journal);
    journal.setSource(source);
    EXPECT_TRUE(journal.await(1, std::chrono::seconds(0), [] { return false; }));
    EXPECT_THAT(source->followed, ElementsAre(false, true, false));
}

}  // namespace
