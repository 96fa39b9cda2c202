// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The file that leads to the page. Its name may stand in a program's arguments, which every user of
// the machine can read; the page's address may not.
#pragma once

#include <string>

namespace ui {

class Door {
  public:
    // Makes <folder>/ui.html with mode 0600, in the place of another. Throws phone::Error when it
    // cannot.
    Door(const std::string& folder, const std::string& url);
    // Removes it, unless another program has put its own there.
    ~Door();
    Door(const Door&) = delete;
    Door& operator=(const Door&) = delete;

    // Opens it in the user's browser, which lives on by itself. What fails is said on standard
    // error.
    void openInBrowser() const;

  private:
    const std::string mPath;
    unsigned long mInode = 0;
};

}  // namespace ui
