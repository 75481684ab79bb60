// Opens a video from bytes and asks for its properties and frames.
#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "RKImageLoader/video/RKFfmpegBridgeLame.h"

#include <QImage>
#include <QString>
#include <QTemporaryFile>

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace {

void ignoreMessage(QtMsgType, const QMessageLogContext&, const QString&)
{
}

template <typename Bridge>
void readAll(const QString& path)
{
    Bridge bridge(path);
    for (const long long frame : {1LL, 0LL, 2LL, 40LL, 7LL, 2147483647LL, 3LL})
        bridge.decodeFrame(frame);
    bridge.reopenFile();
    bridge.decodeFrame(0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const auto previousHandler = qInstallMessageHandler(ignoreMessage);
    Q_UNUSED(previousHandler)
    QTemporaryFile file;
    if (!file.open() || file.write(reinterpret_cast<const char*>(data), qint64(size)) < 0
        || !file.flush())
        return 0;
    readAll<RKFfmpegBridge>(file.fileName());
    readAll<RKFfmpegBridgeLame>(file.fileName());
    return 0;
}
