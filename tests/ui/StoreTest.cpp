// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What a page gets from the store, in which order, and what the store gives up.
#include "emulator/ui/Store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::Not;
using ui::Cursor;
using ui::Store;

timeline::Item item(uint64_t id, const std::string& title) {
    timeline::Item item;
    item.id = item.last = id;
    item.kind = "mark";
    item.title = title;
    return item;
}

std::string itemsEvent(const std::vector<timeline::Item>& items) {
    std::string list;
    for (const timeline::Item& item : items) {
        list += (list.empty() ? "" : ",") + timeline::toJson(item);
    }
    return "event: items\ndata: [" + list + "]\n\n";
}

size_t count(const std::string& text, const std::string& part) {
    size_t found = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

TEST(StoreTest, APageGetsWhatIsKeptThenWhatComes) {
    Store store;
    Cursor page;
    store.begin(R"({"version":"1"})");
    store.setState(R"({"attached":true})");
    store.setSnapshot("null");
    store.put({item(1, "one"), item(2, "two")});
    store.setLoaded();
    EXPECT_EQ(store.take(page),
              "event: hello\ndata: {\"version\":\"1\"}\n\n"
              "event: state\ndata: {\"attached\":true}\n\n"
              "event: snapshot\ndata: null\n\n" +
                      itemsEvent({item(1, "one"), item(2, "two")}));
    EXPECT_EQ(store.take(page), "event: loaded\ndata: {\"items\":2}\n\n");
    EXPECT_EQ(store.take(page), "");
    store.put({item(3, "three")});
    EXPECT_EQ(store.take(page), itemsEvent({item(3, "three")}));
    EXPECT_EQ(store.take(page), "");
}

TEST(StoreTest, AnItemThatChangedComesAgainAndIsKeptOnce) {
    Store store;
    store.begin("{}");
    store.put({item(1, "half"), item(2, "other")});
    Cursor early;
    store.take(early);
    store.put({item(1, "whole")});
    EXPECT_EQ(store.take(early), itemsEvent({item(1, "whole")}));
    Cursor late;
    EXPECT_THAT(store.take(late), HasSubstr(itemsEvent({item(2, "other"), item(1, "whole")})));
}

TEST(StoreTest, AStateThatIsTheSameIsNotSentAgain) {
    Store store;
    store.begin("{}");
    store.setState("{}");
    Cursor page;
    store.take(page);
    store.setState("{}");
    EXPECT_EQ(store.take(page), "");
    store.setState(R"({"attached":false})");
    EXPECT_EQ(store.take(page), "event: state\ndata: {\"attached\":false}\n\n");
}

TEST(StoreTest, ComesInBatches) {
    Store store;
    store.begin("{}");
    std::vector<timeline::Item> items;
    for (uint64_t id = 1; id <= Store::kMostAtOnce + 1; ++id) items.push_back(item(id, ""));
    store.put(items);
    store.setLoaded();
    Cursor page;
    EXPECT_EQ(count(store.take(page), "\"mark\""), Store::kMostAtOnce);
    EXPECT_EQ(store.take(page), itemsEvent({items.back()}));
    EXPECT_EQ(store.take(page), "event: loaded\ndata: {\"items\":5001}\n\n");
}

TEST(StoreTest, TheNextEmulatorsItemsAreNotMixedWithTheLastOnes) {
    Store store;
    store.begin(R"({"folder":"a"})");
    store.put({item(1, "old")});
    Cursor page;
    store.take(page);
    store.end(R"({"message":"the emulator has ended"})");
    EXPECT_EQ(store.take(page), "event: ended\ndata: {\"message\":\"the emulator has ended\"}\n\n");
    EXPECT_EQ(store.take(page), "");
    store.put({item(2, "old, and never sent")});
    store.begin(R"({"folder":"b"})");
    store.put({item(1, "new")});
    EXPECT_EQ(store.take(page),
              "event: hello\ndata: {\"folder\":\"b\"}\n\n" + itemsEvent({item(1, "new")}));
    Cursor other;
    EXPECT_THAT(store.take(other), Not(HasSubstr("ended")));
}

TEST(StoreTest, WithoutAnEmulatorAPageHearsWhy) {
    Store store;
    store.end(R"({"message":"no emulator"})");
    Cursor page;
    EXPECT_EQ(store.take(page), "event: ended\ndata: {\"message\":\"no emulator\"}\n\n");
}

// A page that lags skips what is no longer kept.
TEST(StoreTest, KeepsNoMoreItemsThanItMay) {
    Store store;
    store.begin("{}");
    store.put({item(1, "first")});
    Cursor slow;
    store.take(slow);
    for (uint64_t id = 2; id <= Store::kMostItems + 3; ++id) store.put({item(id, "")});
    size_t sent = 0;
    for (std::string text; !(text = store.take(slow)).empty();) {
        if (sent == 0) EXPECT_THAT(text, HasSubstr("data: [[4,4,"));
        sent += count(text, "\"mark\"");
    }
    EXPECT_EQ(sent, Store::kMostItems);
}

TEST(StoreTest, KeepsNoMoreBytesThanItMay) {
    Store store;
    store.begin("{}");
    const std::string megabyte(1 << 20, 'x');
    for (uint64_t id = 1; id <= 70; ++id) store.put({item(id, megabyte)});
    Cursor page;
    const std::string text = store.take(page);
    EXPECT_LE(text.size(), Store::kMostBytes + 4096);
    EXPECT_THAT(text.substr(0, 100), HasSubstr("data: [[8,8,"));
}

TEST(StoreTest, WakesItsWatchersAfterEachChange) {
    Store store;
    int woken = 0;
    std::shared_ptr<void> watch = store.watch([&] { ++woken; });
    store.begin("{}");
    store.put({item(1, "")});
    store.put({});
    store.setLoaded();
    store.setState("{}");
    store.setState("{}");
    store.setSnapshot("null");
    store.end("{}");
    EXPECT_EQ(woken, 6);
    watch.reset();
    store.put({item(2, "")});
    EXPECT_EQ(woken, 6);
}

}  // namespace
