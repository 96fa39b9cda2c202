// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The faults that are set.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "emulator/cover/FaultList.h"
#include "emulator/cover/PanelFault.h"
#include "emulator/phone/devices/Subject.h"

namespace phone {

class Cover;
class Panel;

struct SetFault {
    std::string text;
    uint64_t met = 0;  // how often it has struck
};

// Throws what set() throws for this text.
void checkFault(const std::string& text);

class Faults : public Subject {
  public:
    Faults(const Surroundings& surroundings, Cover& cover, Panel& panel)
        : Subject(surroundings), mCover(cover), mPanel(panel) {}

    // A fault of the cover's AT channel (emulator/cover/FaultLanguage.h), of its panel's hidraw
    // node (emulator/cover/PanelFault.h), or of a file:
    //   node PATH missing | unreadable | unwritable | eio | read-eio
    // missing: ENOENT to open and access; unreadable: EACCES to what asks to read; unwritable:
    // EACCES to what asks to write; eio: opens, but every write fails with EIO; read-eio: opens for
    // reading, but every read fails with EIO.
    void set(const std::string& text);
    // The texts, as they can be set again.
    std::vector<std::string> list() const;
    // In the same order.
    std::vector<SetFault> listMet() const;
    // Calls that a fault holds up go on. remove() takes the first one away that is listed as this
    // text would be, and throws when there is none.
    void remove(const std::string& text);
    void clear();

  private:
    void addPanelFault(const cover::PanelFault& fault);
    void apply(const std::vector<NodeFault>& faults);
    // False when no fault is listed so; the text as it is listed.
    bool removeOne(std::string& text);
    void goOn();

    Cover& mCover;
    Panel& mPanel;
    cover::FaultList<NodeFault> mNodeFaults;  // emulator thread
};

}  // namespace phone
