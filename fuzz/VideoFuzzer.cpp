// Opens a video from bytes and asks for its properties and frames.
#include "Fuzzing.h"
#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "RKImageLoader/video/RKFfmpegBridgeLame.h"

#include <QImage>
#include <QString>
#include <QTemporaryFile>

namespace {

template <typename Bridge>
void readAll(const QString& path)
{
    Bridge bridge(path);
    for (const long long frame : {1LL, 0LL, 2LL, 40LL, 7LL, 2147483647LL, 3LL}) {
        const QImage image = bridge.decodeFrame(frame);
        if (!image.isNull() && image.size() != bridge.videoSize())
            qFatal("a frame of another size");
    }
    bridge.reopenFile();
    bridge.decodeFrame(0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    QTemporaryFile file;
    if (!file.open() || file.write(quietInput(data, size)) < 0 || !file.flush())
        return 0;
    readAll<RKFfmpegBridge>(file.fileName());
    readAll<RKFfmpegBridgeLame>(file.fileName());
    return 0;
}
