// Frames of a video through the bridge, against the least that FFmpeg's libraries need for them,
// with as many threads and with the conversion to RGB, and against its tool.

#include "RKImageLoader/video/RKFfmpegBridge.h"

#include <QDir>
#include <QLoggingCategory>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <sys/resource.h>

#include <chrono>
#include <vector>

namespace {

constexpr int kRate = 25;
constexpr int kFrameAt5s = 5 * kRate;
constexpr int kFrames = 180;
constexpr int kAsked = 100;
constexpr auto k1080p = "1920x1080";
constexpr auto k4K = "3840x2160";

/// A clip with the bit rate that phones record this size with. RK_BENCHMARK_CLIPS may name a folder
/// that has it.
QString made(const char* size, int group = 250)
{
    static const QTemporaryDir folder;
    QString path = QDir(qEnvironmentVariable("RK_BENCHMARK_CLIPS", folder.path()))
                       .filePath(QStringLiteral("%1-%2.mp4").arg(QLatin1String(size)).arg(group));
    if (!QFile::exists(path)) {
        const QString arguments
            = QStringLiteral(
                "-v error -f lavfi -i testsrc2=s=%1:r=%2 -frames:v %3 -vf noise=alls=12:allf=t "
                "-c:v libx264 -preset veryfast -b:v %4 -bf 2 -g %5 -sc_threshold 0 "
                "-pix_fmt yuv420p")
                  .arg(QLatin1String(size))
                  .arg(kRate)
                  .arg(kFrames)
                  .arg(qstrcmp(size, k1080p) == 0 ? QStringLiteral("17M") : QStringLiteral("48M"))
                  .arg(group);
        QProcess::execute(QStringLiteral("ffmpeg"), arguments.split(u' ') << path);
    }
    return path;
}

/// What a program would write that only wants the frames.
class BarePlayer
{
public:
    explicit BarePlayer(const QString& path)
    {
        avformat_open_input(&m_format, path.toUtf8().constData(), nullptr, nullptr);
        avformat_find_stream_info(m_format, nullptr);
        const AVCodec* decoder = nullptr;
        m_index = av_find_best_stream(m_format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
        m_codec = avcodec_alloc_context3(decoder);
        avcodec_parameters_to_context(m_codec, stream()->codecpar);
        m_codec->thread_count = std::min(QThread::idealThreadCount(), 4);
        avcodec_open2(m_codec, decoder, nullptr);
        m_rgb->format = AV_PIX_FMT_RGB24;
        m_rgb->width = m_codec->width;
        m_rgb->height = m_codec->height;
        av_frame_get_buffer(m_rgb, 0);
    }

    ~BarePlayer()
    {
        sws_freeContext(m_scaling);
        av_frame_free(&m_rgb);
        av_frame_free(&m_frame);
        av_packet_free(&m_packet);
        avcodec_free_context(&m_codec);
        avformat_close_input(&m_format);
    }

    BarePlayer(const BarePlayer&) = delete;
    BarePlayer& operator=(const BarePlayer&) = delete;

    int seekAndDecode(int frame)
    {
        av_seek_frame(m_format, m_index, timestamp(frame), AVSEEK_FLAG_BACKWARD);
        avcodec_flush_buffers(m_codec);
        return decodeTo(frame);
    }

    /// The first byte of the frame, so that nothing can be left out.
    int decodeTo(int frame)
    {
        while (true) {
            while (avcodec_receive_frame(m_codec, m_frame) == 0) {
                if (m_frame->pts >= timestamp(frame))
                    return convert();
            }
            if (av_read_frame(m_format, m_packet) < 0) {
                if (avcodec_send_packet(m_codec, nullptr) < 0)
                    return -1;
            } else if (m_packet->stream_index == m_index) {
                avcodec_send_packet(m_codec, m_packet);
            }
            av_packet_unref(m_packet);
        }
    }

private:
    AVStream* stream() const
    {
        return m_format->streams[m_index];
    }

    int64_t timestamp(int frame) const
    {
        return av_rescale_q(frame, {1, kRate}, stream()->time_base);
    }

    int convert()
    {
        m_scaling = sws_getCachedContext(m_scaling,
            m_frame->width,
            m_frame->height,
            static_cast<AVPixelFormat>(m_frame->format),
            m_rgb->width,
            m_rgb->height,
            AV_PIX_FMT_RGB24,
            SWS_BICUBIC,
            nullptr,
            nullptr,
            nullptr);
        sws_scale(m_scaling,
            m_frame->data,
            m_frame->linesize,
            0,
            m_frame->height,
            m_rgb->data,
            m_rgb->linesize);
        return *m_rgb->data[0];
    }

    AVFormatContext* m_format = nullptr;
    AVCodecContext* m_codec = nullptr;
    AVFrame* m_frame = av_frame_alloc();
    AVFrame* m_rgb = av_frame_alloc();
    AVPacket* m_packet = av_packet_alloc();
    SwsContext* m_scaling = nullptr;
    int m_index = -1;
};

/// Seconds on the clock and on the processors, those of finished processes included.
struct Times
{
    double wall = 0.0;
    double cpu = 0.0;

    static Times now()
    {
        const auto toSeconds
            = [](const timeval& t) { return double(t.tv_sec) + 1e-6 * double(t.tv_usec); };
        const auto sinceEpoch = std::chrono::steady_clock::now().time_since_epoch();
        Times times{std::chrono::duration<double>(sinceEpoch).count()};
        for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
            rusage usage{};
            getrusage(who, &usage);
            times.cpu += toSeconds(usage.ru_utime) + toSeconds(usage.ru_stime);
        }
        return times;
    }
};

/// The least of both kinds.
template <typename Work>
void keepLeast(Times& least, const Work& work)
{
    const Times start = Times::now();
    benchmark::DoNotOptimize(work());
    const Times end = Times::now();
    least.wall = std::min(least.wall, end.wall - start.wall);
    least.cpu = std::min(least.cpu, end.cpu - start.cpu);
}

/// Runs both by turns and reports how many times as fast ours is, by the clock and by the time on
/// the processors. On the clock a busy machine lacks the processors that both use.
template <typename Reference, typename Ours>
void compare(benchmark::State& state, const Reference& reference, const Ours& ours)
{
    Times referenceTimes{1e9, 1e9};
    Times ourTimes{1e9, 1e9};
    for ([[maybe_unused]] auto iteration : state) {
        keepLeast(referenceTimes, reference);
        keepLeast(ourTimes, ours);
    }
    state.counters["reference_ms"] = referenceTimes.wall * 1e3;
    state.counters["ours_ms"] = ourTimes.wall * 1e3;
    state.counters["reference_cpu_ms"] = referenceTimes.cpu * 1e3;
    state.counters["ours_cpu_ms"] = ourTimes.cpu * 1e3;
    state.counters["ratio"] = referenceTimes.wall / ourTimes.wall;
    state.counters["cpu_ratio"] = referenceTimes.cpu / ourTimes.cpu;
}

void frameAt5s(benchmark::State& state, const char* size, int group)
{
    const QString path = made(size, group);
    compare(
        state,
        [&path] { return BarePlayer(path).seekAndDecode(kFrameAt5s); },
        [&path] { return RKFfmpegBridge(path).decodeFrame(kFrameAt5s); });
}

void frameAt5sAgainstTool(benchmark::State& state, const char* size)
{
    const QString path = made(size);
    const QStringList arguments{QStringLiteral("-v"),
        QStringLiteral("error"),
        QStringLiteral("-ss"),
        QStringLiteral("5"),
        QStringLiteral("-i"),
        path,
        QStringLiteral("-frames:v"),
        QStringLiteral("1"),
        QStringLiteral("-f"),
        QStringLiteral("rawvideo"),
        QStringLiteral("-pix_fmt"),
        QStringLiteral("rgb24"),
        QStringLiteral("-y"),
        path + QStringLiteral(".rgb")};
    compare(
        state,
        [&] { return QProcess::execute(QStringLiteral("ffmpeg"), arguments); },
        [&path] { return RKFfmpegBridge(path).decodeFrame(kFrameAt5s); });
}

int seeks = 0;

void countSeeks(QtMsgType, const QMessageLogContext&, const QString& message)
{
    seeks += message.startsWith(QLatin1String("seek to"));
}

/// The first one is reached before the measurement, so that no seek is left.
void framesInOrder(benchmark::State& state)
{
    BarePlayer bare(made(k1080p));
    RKFfmpegBridge bridge(made(k1080p));
    const auto previousHandler = qInstallMessageHandler(countSeeks);
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\nrk.ffmpeg.debug=true"));
    int mostSeeks = 0;
    compare(
        state,
        [&bare] {
            int sum = bare.seekAndDecode(0);
            for (int n = 1; n <= kAsked; ++n)
                sum += bare.decodeTo(n);
            return sum;
        },
        [&bridge, &mostSeeks] {
            QImage image = bridge.decodeFrame(0);
            seeks = 0;
            for (int n = 1; n <= kAsked; ++n)
                image = bridge.decodeFrame(n);
            mostSeeks = std::max(mostSeeks, seeks);
            return image;
        });
    qInstallMessageHandler(previousHandler);
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    state.counters["seeks"] = mostSeeks;
}

void framesAtRandom(benchmark::State& state)
{
    QRandomGenerator random(5);
    std::vector<int> frames(kAsked);
    for (int& frame : frames)
        frame = random.bounded(kFrames);
    BarePlayer bare(made(k1080p));
    RKFfmpegBridge bridge(made(k1080p));
    compare(
        state,
        [&] {
            int sum = 0;
            for (const int n : frames)
                sum += bare.seekAndDecode(n);
            return sum;
        },
        [&] {
            QImage image;
            for (const int n : frames)
                image = bridge.decodeFrame(n);
            return image;
        });
}

/// Steps forwards, against the better of seeking each frame and decoding on to it.
void framesInSteps(benchmark::State& state)
{
    const int step = int(state.range(1));
    const QString path = made(k1080p, int(state.range(0)));
    Times seeking{1e9, 1e9};
    Times decodingOn{1e9, 1e9};
    Times ours{1e9, 1e9};
    const auto all = [step](auto&& take) {
        int count = 0;
        for (int n = step; n < kFrames && count < 20; n += step, ++count)
            benchmark::DoNotOptimize(take(n));
        return count;
    };
    for ([[maybe_unused]] auto iteration : state) {
        BarePlayer bare(path);
        bare.seekAndDecode(0);
        keepLeast(seeking, [&] { return all([&](int n) { return bare.seekAndDecode(n); }); });
        bare.seekAndDecode(0);
        keepLeast(decodingOn, [&] { return all([&](int n) { return bare.decodeTo(n); }); });
        RKFfmpegBridge bridge(path);
        bridge.decodeFrame(0);
        keepLeast(ours, [&] { return all([&](int n) { return bridge.decodeFrame(n); }); });
    }
    state.counters["seeking_cpu_ms"] = seeking.cpu * 1e3;
    state.counters["decoding_on_cpu_ms"] = decodingOn.cpu * 1e3;
    state.counters["ours_cpu_ms"] = ours.cpu * 1e3;
    state.counters["cpu_ratio"] = ours.cpu / std::min(seeking.cpu, decodingOn.cpu);
    state.counters["ratio"] = ours.wall / std::min(seeking.wall, decodingOn.wall);
}

} // namespace

BENCHMARK(framesInSteps)
    ->ArgNames({"group", "step"})
    ->ArgsProduct({{1, 12, 30, 250}, {1, 5, 20, 50}})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);
BENCHMARK_CAPTURE(frameAt5s, 1080p, k1080p, 250)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK_CAPTURE(frameAt5s, 1080p_group30, k1080p, 30)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK_CAPTURE(frameAt5s, 4K, k4K, 250)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK_CAPTURE(frameAt5s, 4K_group30, k4K, 30)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK_CAPTURE(frameAt5sAgainstTool, 1080p, k1080p)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK_CAPTURE(frameAt5sAgainstTool, 4K, k4K)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(framesInOrder)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(framesAtRandom)->Unit(benchmark::kMillisecond)->Iterations(1);

int main(int argc, char** argv)
{
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
