#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/dvframe/MacroBlocks.h"

namespace takebox::decompression {

/// Makes frames that a decoder accepts out of frames as they arrive.
///
/// A DV frame is laid out in DIF blocks that stand at fixed places and are decoded by themselves.
/// What is missing at the end of a frame is therefore taken from the frame before, and a header
/// that cannot be told from noise is replaced by the last good one: a damaged frame still shows all
/// that arrived. Before the first good frame the picture is grey.
/// @see IEC 61834-2, arrangement of DIF blocks.
class DVFrameAssembly {
public:
    static constexpr std::size_t kNTSCFrameSize = 120000;
    static constexpr std::size_t kPALFrameSize = 144000;

    /// @param storage kPALFrameSize bytes that outlive the assembly.
    /// @param isPAL   what to assume until a frame tells.
    DVFrameAssembly(std::span<std::uint8_t, kPALFrameSize> storage, bool isPAL);

    /// Lays the bytes of a frame over those of the frame before; what exceeds a PAL frame is
    /// ignored. @return the size of the whole frame that the storage holds now.
    std::size_t assemble(const std::uint8_t* data, std::size_t size);

    /// How the picture of the frame that the storage holds is sampled.
    [[nodiscard]] dvframe::Sampling sampling() const;

private:
    /// The bytes from which a decoder learns the system of a frame.
    struct Signature {
        std::uint8_t headerFlags;  // byte 3 of the frame: bit 7 set for 625 lines
        std::uint8_t trackFlags;   // byte 4 of the frame: track application
        std::uint8_t videoSystem;  // VAUX source pack: kind of video
    };

    void fillWithGrey(bool isPAL);

    std::span<std::uint8_t, kPALFrameSize> mStorage;
    Signature mSignature{};
};

}  // namespace takebox::decompression
