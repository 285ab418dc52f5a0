#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

/// DV devices with their streams and tape transport, whatever bus they are on. Each kind of bus is
/// a backend that derives from these classes.
namespace takebox::avc {

/// What a receiver tells with each call of the frame callback.
enum FrameMessage : std::uint32_t {
    kFrameReceived = 0,    ///< a whole frame; data and length are valid
    kFrameIncomplete = 1,  ///< a frame ended with blocks missing; not to be kept
    kFramesMissing = 2,    ///< whole frames are missing: no data, the length is their number
};

/// What a receiver tells outside frames. Parameters are in brackets.
enum ReceiverMessage : std::uint32_t {
    /// The host was too slow (cycles lost, frames lost with them that no frame message tells).
    kReceiverOverrun = 2,
    /// No data for a while, or reconnected (milliseconds until now, reason). After kNoData nobody
    /// knows yet how long it will be.
    kStreamInterrupted = 4,
    /// Data come again after a kStreamInterrupted with kNoData (milliseconds without data, 0).
    kStreamResumed = 5,
};

/// A device asks its user to stop and let go, because it is gone or must be given up.
inline constexpr std::uint32_t kDeviceCloseRequest = 0xE0000100;

/// What the frame callback answers: the frame was not kept, its buffer may be used again.
inline constexpr std::uint32_t kFrameNotKept = 0xE00002BC;

/// Why a kStreamInterrupted came (its second parameter).
enum InterruptionReason : std::uint32_t { kNoData = 0, kReconnected = 1 };

class AVCDevice;

/// Frame callback. Runs on the stream's receive thread; the bytes are valid during the call only
/// and are overwritten afterwards. Must not allocate, lock, log or wait.
using DVFrameReceivedProc = std::uint32_t (*)(std::uint32_t message, const std::uint8_t* data,
                                              std::uint32_t length, void* refCon);

/// Receiver messages; on the receive thread, under the same rules.
using DVReceiverMessageProc = void (*)(std::uint32_t message, std::uint32_t parameter1,
                                       std::uint32_t parameter2, void* refCon);

/// Device messages (kDeviceCloseRequest), always on the main thread. The result is not used.
using AVCDeviceMessageProc = std::int32_t (*)(AVCDevice* device, std::uint32_t message,
                                              std::int32_t parameter, void* refCon);

/// Takes a line of diagnosis from the receiver; any thread.
using StringLogger = void (*)(const char* text);

/// What a receiver is made with.
struct DVReceiverParameters {
    std::uint32_t plug = 0;
    DVFrameReceivedProc frameProc = nullptr;
    void* frameRefCon = nullptr;
    DVReceiverMessageProc messageProc = nullptr;
    void* messageRefCon = nullptr;
    StringLogger logger = nullptr;         ///< may be null
    std::uint32_t cyclesPerSegment = 800;  ///< bus cycles of 125 microseconds
    std::uint32_t segments = 6;
    std::uint8_t dvMode = 0;
    std::uint32_t frameBuffers = 4;  ///< buffers that the frames take turns in
};

/// Why a stream that runs has no frames.
enum class StreamProblem : std::uint8_t {
    kNone,          ///< nothing is known to be wrong: the device sends nothing, or all is well
    kOtherSignal,   ///< it sends another format than DV at 25 Mbit/s, such as HDV
    kChannelInUse,  ///< another receiver on this card has its channel
    kRefused,       ///< it accepts no connection, and nothing comes without one
    kNotReceived,   ///< reception could not be opened
};

/// The DV stream of one device. Main thread. Owns one receive thread from start() to stop(), which
/// calls the frame and message callbacks and nothing else of the program. After stop() returns they
/// are never called again.
class AVCDeviceStream {
public:
    AVCDeviceStream() = default;
    virtual ~AVCDeviceStream() = default;  ///< stops
    AVCDeviceStream(const AVCDeviceStream&) = delete;
    AVCDeviceStream& operator=(const AVCDeviceStream&) = delete;

    /// @return 0 or an errno value. A device that is gone starts nothing and returns ENODEV.
    [[nodiscard]] virtual int start() = 0;
    /// Idempotent; joins the receive thread. Never waits for the device.
    virtual void stop() = 0;
    /// What keeps it from receiving now.
    [[nodiscard]] virtual StreamProblem problem() const { return StreamProblem::kNone; }
};

/// Result of a tape command, delivered exactly once on the main thread, at once or later (even
/// after the TapeSubunitController that sent it is gone): 0 when the deck accepted it, an AV/C
/// response code (0x08 not implemented, 0x0A rejected) or a negative errno value otherwise.
using TapeResultProc = std::function<void(int result)>;

/// The record of one device on the bus, and the operations on it. Main thread only.
/// Made by a backend, owned by the AVCDeviceController; stays in its list, with its index, when the
/// device goes away and is attached again when a device with the same GUID returns.
class AVCDevice {
public:
    static constexpr std::size_t kNameSize = 80;

    explicit AVCDevice(std::uint64_t guid) : mGuid(guid) {}
    virtual ~AVCDevice() = default;
    AVCDevice(const AVCDevice&) = delete;
    AVCDevice& operator=(const AVCDevice&) = delete;

    [[nodiscard]] std::uint64_t guid() const { return mGuid; }
    /// UTF-8, at most 79 bytes, zero-terminated.
    [[nodiscard]] const char* deviceName() const { return mName.data(); }
    /// The file that a user must be allowed to open, such as "/dev/fw1"; empty where there is none.
    [[nodiscard]] const std::string& deviceFile() const { return mDeviceFile; }
    [[nodiscard]] bool isAttached() const { return mIsAttached; }
    /// The two DV capability flags: DV on plug 0 and a tape to drive; DV on plug 0 without one.
    [[nodiscard]] bool isDVTapeDevice() const { return mIsDVTapeDevice; }
    [[nodiscard]] bool isDVConverter() const { return mIsDVConverter; }
    /// First byte of the plug's signal format: 0x00, 0x04, 0x08, 0x70, 0x74 and 0x78 are 525/60,
    /// the same with 0x80 added are 625/50 (IEC 61883-2).
    [[nodiscard]] std::uint8_t dvMode() const { return mDVMode; }

    /// Opens the device for its one user. @return 0, EACCES, ENODEV or another errno value.
    [[nodiscard]] virtual int openDevice(AVCDeviceMessageProc messageProc, void* refCon) = 0;
    /// Idempotent. No device message comes afterwards.
    virtual void closeDevice() = 0;

    /// Makes a stream for an open device; null when none can be made.
    [[nodiscard]] virtual std::unique_ptr<AVCDeviceStream> CreateDVReceiverForDevicePlug(
        const DVReceiverParameters& parameters) = 0;
    [[nodiscard]] int StartAVCDeviceStream(AVCDeviceStream& stream) { return stream.start(); }
    void StopAVCDeviceStream(AVCDeviceStream& stream) { stream.stop(); }
    void DestroyAVCDeviceStream(std::unique_ptr<AVCDeviceStream>& stream) { stream.reset(); }

    /// Sends a tape transport command (AV/C tape recorder subunit): opcode and operand.
    /// Use TapeSubunitController.
    virtual void sendTapeCommand(std::uint8_t opcode, std::uint8_t operand,
                                 TapeResultProc result) = 0;

protected:
    // For backends; a change is followed by AVCDeviceController::deviceChanged().
    void setDeviceName(std::string_view name);
    void setDeviceFile(std::string path) { mDeviceFile = std::move(path); }
    void setAttached(bool attached) { mIsAttached = attached; }
    void setDVCapabilities(bool tapeDevice, bool converter) {
        mIsDVTapeDevice = tapeDevice;
        mIsDVConverter = converter;
    }
    void setDVMode(std::uint8_t mode) { mDVMode = mode; }

private:
    std::uint64_t mGuid;
    std::array<char, kNameSize> mName{};
    std::string mDeviceFile;
    bool mIsAttached = false;
    bool mIsDVTapeDevice = false;
    bool mIsDVConverter = false;
    std::uint8_t mDVMode = 0x80;
};

}  // namespace takebox::avc
