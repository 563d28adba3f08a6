#pragma once

#include "common/FileDescriptor.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// Files of other programs, read without waiting for anybody and without being led elsewhere. Blocks on the
/// disk. Safe on every thread.
namespace vale::PlainFiles {

enum class Owner { anyone, user };

/// Opens a regular file for reading. None for everything else: a symbolic link, a pipe, a device, what is not
/// there, and with `Owner::user` a file of someone else.
std::optional<FileDescriptor> open(const std::filesystem::path& path, Owner owner);

/// The first `limit` bytes of such a file, or none.
std::optional<std::string> beginning(const std::filesystem::path& path, std::size_t limit,
                                     Owner owner = Owner::anyone);

/// `size` bytes of an open file from `offset`, fewer at its end or after an error.
std::string bytesAt(int descriptor, std::uint64_t offset, std::size_t size);

/// True for a folder or file of this user, not reached through a symbolic link.
bool belongsToUser(const std::filesystem::path& path);

/// A text that is another one whenever the file or folder was changed; "-" when there is none. Links are not
/// followed. Costs one call of the system.
std::string stamp(const std::filesystem::path& path);

}  // namespace vale::PlainFiles
