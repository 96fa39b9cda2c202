// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Files of the world, as kernel attributes show themselves: whole content, old or new, never half.
// What fails is thrown as phone::Error with the path and the cause.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "emulator/phone/backend/Backend.h"

namespace phone {

// Gives the file this content, making it and its folders if need be. Content of unchanged length is
// written in place with one pwrite, so that inotify watches of the file see a modification; other
// content replaces the file, which is made in the folder `scratch`: one of the same file system
// that nobody watches.
void putFile(const std::filesystem::path& path, std::string_view content,
             const std::filesystem::path& scratch = "/");

// As putFile, for a folder that is watched: the file appears by one IN_CREATE with its content in
// place, and no other name shows up. It must not exist.
void linkFile(const std::filesystem::path& path, std::string_view content);

// The whole regular file, or nothing when there is none.
std::optional<std::string> takeFile(const std::filesystem::path& path);

// The regular files in a folder, sorted.
std::vector<File> listFiles(const std::filesystem::path& folder);

// Makes a symlink, and the folders above it; `target` is relative to the link.
void putLink(const std::filesystem::path& path, const std::filesystem::path& target);

// Removes the file or tree, quietly when it is gone already.
void removeTree(const std::filesystem::path& path);
// Empties a folder that the phone has as its own; the sockets of the phone's services stay.
void emptyFolder(const std::filesystem::path& folder);

// The absolute path without symlinks, "." and "..", as far as it exists.
std::filesystem::path resolve(const std::filesystem::path& path);

// Whether a resolved path lies in one of the world's own folders.
bool isOfWorld(const std::filesystem::path& resolved);
// resolve() of a file there; throws phone::Error for any other path.
std::filesystem::path resolveInWorld(const std::string& path);

}  // namespace phone
