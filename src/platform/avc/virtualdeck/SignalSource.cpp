#include "platform/avc/virtualdeck/SignalSource.h"

namespace takebox::avc {

std::size_t SignalSource::next(FrameBuffer buffer) {
    mSignal.writeFrame(mPassed++, buffer);
    return mSignal.frameSize();
}

std::size_t SignalSource::again(FrameBuffer buffer) {
    mSignal.writeFrame(mPassed > 0 ? mPassed - 1 : 0, buffer);
    return mSignal.frameSize();
}

std::size_t SignalSource::skip() {
    ++mPassed;
    return mSignal.frameSize();
}

}  // namespace takebox::avc
