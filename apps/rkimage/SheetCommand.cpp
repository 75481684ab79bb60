#include "Commands.h"
#include "ContactSheet.h"
#include "InputFiles.h"
#include "Interruption.h"
#include "Output.h"
#include "OutputFile.h"
#include "ParallelJobs.h"
#include "ProgressBar.h"
#include "RKImageLoader/files/RKFileSaving.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "Result.h"
#include "Storyboard.h"

#include <QBuffer>
#include <QThread>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <string>

namespace {

// Tiles together, in pixels across: a picture that programs still show.
constexpr int kMaxAcross = 5000;

constexpr char kUsualFormat[] = "png";

enum class Kind
{
    Picture,
    Pdf,
    Html
};

struct SheetArguments
{
    InputFiles files;
    std::string target;
    // For standard output.
    std::string format;
    std::string title = "Contact sheet";
    int side = Storyboard::kUsualSide;
    int jobs = QThread::idealThreadCount();
};

Kind kindOf(const QString& target)
{
    const QString extension = QFileInfo(target).suffix().toLower();
    if (extension == QLatin1String("pdf"))
        return Kind::Pdf;
    const bool isHtml = extension == QLatin1String("html") || extension == QLatin1String("htm");
    return isHtml ? Kind::Html : Kind::Picture;
}

RKMediaError savePdf(const QList<SheetEntry>& entries, const QString& path)
{
    QBuffer buffer;
    return buffer.open(QIODevice::WriteOnly) && ContactSheet::writePdf(&buffer, entries)
        ? RKFileSaving::write(path, buffer.data())
        : RKMediaError(RKMediaErrorCode::OutOfMemory);
}

RKMediaError save(
    const QList<SheetEntry>& entries, const QString& path, const SheetArguments& arguments)
{
    switch (kindOf(path)) {
    case Kind::Pdf: return savePdf(entries, path);
    case Kind::Html:
        return RKFileSaving::write(
            path, ContactSheet::html(entries, QString::fromStdString(arguments.title)));
    case Kind::Picture: break;
    }
    const int columns = kMaxAcross / arguments.side;
    if (entries.size() > qsizetype(columns) * columns) {
        return RKMediaError(RKMediaErrorCode::TooLarge,
            QStringLiteral("%1 files are too many for one picture; a PDF or HTML file takes them")
                .arg(entries.size()));
    }
    RKMediaError error;
    RKImageLoader::instance()->save(
        RKMediaDescriptor(QFileInfo(path)), ContactSheet::image(entries, arguments.side), &error);
    return error;
}

int makeSheet(SheetArguments& arguments)
{
    const OutputFile target(
        arguments.target, {}, arguments.format.empty() ? kUsualFormat : arguments.format);
    const QString path = target.descriptor().absoluteFilePath();
    Result sheet(target.name());
    RKMediaError error = kindOf(path) == Kind::Picture ? target.error() : target.nameError();
    if (error.isError()) {
        sheet.fail(error);
        return sheet.report();
    }

    const std::vector<InputFile> files = arguments.files.all();
    const auto isTarget = [&path](const InputFile& file) { return file.isAt(path); };
    if (std::any_of(files.begin(), files.end(), isTarget)) {
        sheet.fail(RKMediaError(
            RKMediaErrorCode::NotWritable, QStringLiteral("is one of the files to show")));
        return sheet.report();
    }
    QList<SheetEntry> entries(qsizetype(files.size()));
    SheetEntry* const places = entries.data();
    ProgressBar progress(qint64(files.size()));
    runInParallel(files.size(), arguments.jobs, [&](size_t i) {
        places[i] = SheetEntry::of(files[i], arguments.side);
        files[i].release();
        progress.step();
    });
    if (Interruption::isRequested())
        return Output::SomeFailed;

    int failures = arguments.files.failures();
    for (size_t i = 0; i < files.size(); ++i) {
        const SheetEntry& entry = places[i];
        Result result(files[i]);
        if (entry.error.isError())
            result.fail(entry.error);
        failures += result.report() != Output::AllDone;
    }
    error = save(entries, path, arguments);
    if (error.isError() || !target.finish(&error))
        sheet.fail(error);
    else
        sheet.addWritten(target.name());
    failures += sheet.report() != Output::AllDone;
    return Output::finish(qsizetype(files.size()), failures);
}

} // namespace

void addSheetCommand(CLI::App& app, Command& command)
{
    const auto arguments = std::make_shared<SheetArguments>();
    CLI::App* sheet = app.add_subcommand("sheet", "Make a contact sheet of pictures and videos");
    arguments->files.addTo(*sheet);
    sheet
        ->add_option("--out",
            arguments->target,
            "The file to write: a picture, a PDF, or an HTML page that needs nothing else; - is "
            "standard output")
        ->type_name("FILE")
        ->required();
    sheet
        ->add_option(
            "--format", arguments->format, "Format for standard output: png (usual), pdf, html")
        ->type_name("EXT");
    sheet->add_option("--size", arguments->side, "Longest side of a picture in pixels (240)")
        ->type_name("N")
        ->check(CLI::Range(16, 2000));
    sheet->add_option("--title", arguments->title, "Title of an HTML page")->type_name("TEXT");
    sheet->add_option("--jobs", arguments->jobs, "How many to make at the same time")
        ->type_name("N")
        ->check(CLI::Range(1, 256));
    sheet->callback([arguments, &command] {
        OutputFile::check(arguments->target, arguments->format);
        command.writesPicture = OutputFile::isStandardOutput(arguments->target);
        // Below the pictures.
        command.drawsText = true;
        command.run = [arguments]() { return makeSheet(*arguments); };
    });
}
