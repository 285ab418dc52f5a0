#pragma once

#include <QByteArray>

namespace takebox {

/// Whether the object graph of a binary property list ("bplist00") may be given to libplist, which
/// ends the process at a dictionary key that is no string or holds a zero character, builds and
/// frees nested values by recursion, and copies a value once for each reference to it. False when a
/// container or a reference lies outside the bytes, a key is such a one, values are nested deeper
/// than maximumDepth (a cycle is) or the values number more than a million when counted once for
/// each reference.
[[nodiscard]] bool isSoundBinaryPropertyList(const QByteArray& bytes, int maximumDepth);

}  // namespace takebox
