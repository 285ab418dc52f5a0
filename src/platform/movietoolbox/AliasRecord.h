#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/movietoolbox/Status.h"

namespace takebox::movietoolbox {

/// A pointer from a movie to a file: the absolute path, and how many folders up from the movie and
/// down again the file lies, so that a folder moved as a whole still opens.
///
/// Version 2 alias record: a header of 150 bytes, then tagged fields of even length. Paths are
/// taken as they are spelled, without following symbolic links, because that is how readers follow
/// the relative one. Where a path is written with ':' between its parts, a ':' within a part is
/// written as '/', as that notation has it.
struct AliasRecord {
    std::string target;  ///< absolute path of the file
    std::string movie;   ///< absolute path of the movie that points to it

    [[nodiscard]] std::vector<std::byte> bytes() const;
    /// False when a part of the path below the folder that both files share contains a ':':
    /// readers that go by the relative path then cannot find the file.
    [[nodiscard]] bool canBeFollowed() const;
};

/// Makes the alias of a file that exists or could be created there.
/// @return kFileNotFound when the path is empty, its folder does not exist or it is a folder;
///         kBadName when it is too long for an alias record.
[[nodiscard]] Status QTNewAlias(const std::string& target, const std::string& movie,
                                AliasRecord& alias);

}  // namespace takebox::movietoolbox
