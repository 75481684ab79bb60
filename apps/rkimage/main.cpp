#include "Arguments.h"
#include "CommandLine.h"
#include "Configuration.h"
#include "Interruption.h"
#include "Output.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKImageLoaderInitializer.h"
#include "RKImageLoader/media/RKMediaFormat.h"
#include "Result.h"
#include "StandardInput.h"
#include "TemporaryFolder.h"

#include "RKCore/RKInitializer.h"

#include <QFileInfo>
#include <QGuiApplication>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

namespace {

/// Also standard input, and a folder that may hold some.
bool mayBeDrawing(const char* argument)
{
    const QFileInfo file(Arguments::toPath(argument));
    return RKMediaFormat(MEDIA_FORMAT_SVG).isValidExtension(file.suffix()) || file.isDir()
        || StandardInput::isMeant(argument);
}

/// Texts need fonts, and these a QGuiApplication, which takes longer to make than most pictures do.
/// Texts are drawn in drawings, whatever is made of them, and below the pictures of a storyboard.
/// Null where a QCoreApplication is enough. That is never destroyed: it would end the threads that
/// Qt scales with, and LeakSanitizer takes one that is just ending for a leak.
std::unique_ptr<QGuiApplication> makeApplication(int& argc, char** argv, bool drawsText)
{
    // As without a desktop: pictures that don't know their resolution are saved with this one.
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi);
    if (!drawsText && std::none_of(argv + 1, argv + argc, mayBeDrawing)) {
        [[maybe_unused]] static const auto* const core = new QCoreApplication(argc, argv);
        return nullptr;
    }
    // No window is ever shown, so none of the desktop is needed.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    return std::make_unique<QGuiApplication>(argc, argv);
}

/// Whoever starts the program may have closed them. The next file to be opened would take that
/// number, and what is printed would go into it. As before, nothing can be read or written there.
void occupyClosedStreams()
{
    for (const auto& [stream, access] :
        {std::pair(STDIN_FILENO, O_WRONLY), {STDOUT_FILENO, O_RDONLY}, {STDERR_FILENO, O_RDONLY}})
    {
        // The lowest free number, so that of this stream.
        if (::fcntl(stream, F_GETFD) == -1)
            static_cast<void>(::open("/dev/null", access));
    }
}

int run(const Command& command)
{
    if (!StandardInput::isExpected())
        return command.run();
    const RKMediaError error = StandardInput::read();
    // What there was until then says nothing.
    if (Interruption::isRequested())
        return Output::SomeFailed;
    if (!error.isError())
        return command.run();
    Result result(QStringLiteral("-"));
    result.fail(QStringLiteral("standard input"), error);
    return result.report();
}

/// A failed file has one line, whose reason is no message. What ends the program has to be said.
void dropMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtFatalMsg)
        std::fprintf(stderr, "rkimage: %s\n", qPrintable(text));
}

} // namespace

int main(int argc, char** argv)
{
    occupyClosedStreams();
    CommandLine commandLine;
    if (const std::optional<int> exitCode = commandLine.parse(argc, argv))
        return *exitCode;

    Output::setStyle(commandLine.outputStyle());
    const Command& command = commandLine.command();
    Colors::choose(commandLine.colors());
    Output::setQuiet(commandLine.isQuiet());
    if (!commandLine.isVerbose())
        qInstallMessageHandler(dropMessage);
    if (command.writesPicture) {
        if (const QString failure = Output::sendPicture(); !failure.isEmpty()) {
            Output::printFailure(QStringLiteral("standard output"), failure);
            return Output::WrongUsage;
        }
    }
    const auto application = makeApplication(argc, argv, command.drawsText);
    // exiv2 and the system would speak the user's language, between lines in English.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for texts yet.
    std::setlocale(LC_MESSAGES, "C");
    const QString config = commandLine.configFile();
    if (const QString failure = Configuration::install(config, command.jpegQuality);
        !failure.isEmpty()) {
        Output::printFailure(config, failure);
        return Output::WrongUsage;
    }
    RKInitializer::instance()->setup(RKInitializerOption::CommandLine);
    RKImageLoaderInitializer::installTranslation(QLocale::English);
    RKImageLoader::instance()->setFlag(RKImageLoader::kTurnTiff, true);
    Interruption::install();
    const TemporaryFolder temporary;
    const int exitCode = run(command);
    Output::endResults();
    if (Interruption::exitCode() != 0)
        return Interruption::exitCode();
    if (Output::isWritten())
        return exitCode;
    if (!Output::isReaderGone())
        Output::printFailure(QStringLiteral("standard output"), QStringLiteral("can't be written"));
    return Output::SomeFailed;
}
