#include "ImageDescription.h"

namespace takebox::decompression {

ImageDescription makeDVNTSCImageDescription() {
    ImageDescription description;
    description.codecType = fourCharCode("dvc ");
    description.width = 720;
    description.height = 480;
    description.name = "DV - NTSC";
    description.displayWidth = 640;
    description.displayHeight = 480;
    return description;
}

ImageDescription makeDVPALImageDescription() {
    ImageDescription description;
    description.codecType = fourCharCode("dvcp");
    description.width = 720;
    description.height = 576;
    description.name = "DV - PAL";
    description.displayWidth = 768;
    description.displayHeight = 576;
    return description;
}

}  // namespace takebox::decompression
