#pragma once

#include <QImage>

namespace takebox {

/// Who shows the preview picture of a device. Main thread.
class PreviewDelegate {
public:
    virtual ~PreviewDelegate() = default;

    /// A new picture, of the size of the preview bounds.
    virtual void setPreviewImage(const QImage& image) = 0;

    /// Whether anybody could see the picture now. Without an onlooker frames are only decoded when
    /// the JPEG picture is asked for. Who answers differently than before tells the device so
    /// (CDVDevice::setPictureIsWatched).
    [[nodiscard]] virtual bool wantsPreviewImage() const { return true; }

protected:
    PreviewDelegate() = default;
    PreviewDelegate(const PreviewDelegate&) = default;
    PreviewDelegate& operator=(const PreviewDelegate&) = default;
};

}  // namespace takebox
