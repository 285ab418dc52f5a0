#include "platform/movietoolbox/Status.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace takebox::movietoolbox {
namespace {

struct Translation {
    int error;
    Status status;
};

// Of several errors with one status the first is what the status is told as.
constexpr std::array kTranslations{
    Translation{0, kNoError},
    Translation{ENOSPC, kDiskFull},
    Translation{EDQUOT, kDiskFull},
    Translation{EFBIG, kDiskFull},
    Translation{ENAMETOOLONG, kBadName},
    Translation{EMFILE, kTooManyFilesOpen},
    Translation{ENFILE, kTooManyFilesOpen},
    Translation{ENOENT, kFileNotFound},
    Translation{ENOTDIR, kFileNotFound},
    Translation{EEXIST, kDuplicateName},
    Translation{EISDIR, kDuplicateName},
    Translation{EROFS, kWriteProtected},
    Translation{EACCES, kNoPermission},
    Translation{EPERM, kNoPermission},
    Translation{ENOMEM, kOutOfMemory},
    Translation{EINVAL, kParameterError},
};

}  // namespace

Status statusOfErrno(int error) {
    const auto* const found =
        std::find_if(kTranslations.begin(), kTranslations.end(),
                     [error](const Translation& entry) { return entry.error == error; });
    return found == kTranslations.end() ? kInputOutputError : found->status;
}

int errnoOfStatus(Status status) {
    const auto* const found =
        std::find_if(kTranslations.begin(), kTranslations.end(),
                     [status](const Translation& entry) { return entry.status == status; });
    return found == kTranslations.end() ? EIO : found->error;
}

}  // namespace takebox::movietoolbox
