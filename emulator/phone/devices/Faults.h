// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The faults that are set.
#pragma once

#include <string>
#include <vector>

#include "emulator/phone/devices/Subject.h"

namespace phone {

class Cover;
class Panel;

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
    std::vector<std::string> list() const;
    // Calls that a fault holds up go on.
    void clear();

  private:
    Cover& mCover;
    Panel& mPanel;
    std::vector<NodeFault> mNodeFaults;  // emulator thread
};

}  // namespace phone
