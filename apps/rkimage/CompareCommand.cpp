#include "Arguments.h"
#include "Commands.h"
#include "InputFiles.h"
#include "MetaDataJson.h"
#include "Output.h"
#include "PictureDifference.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "Result.h"
#include "Writing.h"

#include <QJsonArray>
#include <QJsonObject>

#include <CLI/CLI.hpp>

#include <cmath>
#include <memory>
#include <optional>
#include <string>

namespace {

struct CompareArguments
{
    std::string first;
    std::string second;
    std::string size;
    std::string target;
    std::optional<double> limit;
};

/// CLI11's ranges would take what is not a number, which no difference is within.
bool isLimit(const std::string& text)
{
    bool isNumber = false;
    const double limit = QString::fromStdString(text).toDouble(&isNumber);
    return isNumber && limit >= 0 && std::isfinite(limit);
}

struct Picture
{
    QString file;
    RKMediaDescriptor descriptor;
    QImage image;
};

/// Upright and in sRGB; an invalid size means the whole picture. False if there is none.
bool load(Picture& picture, const QSize& size, Result& result)
{
    RKMediaError error;
    picture.image = RKMediaLoader::instance()
                        ->drawable(picture.descriptor, size, RKImageOption(), &error)
                        .image();
    if (picture.image.isNull())
        result.fail(picture.file, error);
    return !picture.image.isNull();
}

/// Brings the larger picture down to the size of the smaller one. False if they have other
/// proportions, by more than rounding makes.
bool makeSameSize(Picture& first, Picture& second)
{
    Picture& larger = first.image.width() > second.image.width() ? first : second;
    const Picture& smaller = &larger == &first ? second : first;
    const QSize wanted = smaller.image.size();
    if (larger.image.size() == wanted)
        return true;
    const QSize fitted = larger.image.size().scaled(wanted, Qt::KeepAspectRatio);
    if (std::abs(fitted.width() - wanted.width()) > 1
        || std::abs(fitted.height() - wanted.height()) > 1)
        return false;
    larger.image = RKDrawable(larger.image).scaled(wanted).image();
    // One pixel may be missing on a side that was rounded the other way.
    if (larger.image.size() != wanted)
        larger.image = larger.image.scaled(wanted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return true;
}

void printAsText(const PictureDifference& difference, const QSize& size)
{
    const auto number = [](double value) { return QString::number(value, 'f', 3); };
    const auto& means = difference.means();
    const QPoint place = difference.greatestAt();
    Output::print(
        QStringLiteral("size                 %1x%2").arg(size.width()).arg(size.height()));
    Output::print(QStringLiteral("mean difference      %1 (red %2, green %3, blue %4, alpha %5)")
                      .arg(number(difference.mean()),
                          number(means[0]),
                          number(means[1]),
                          number(means[2]),
                          number(means[3])));
    Output::print(difference.greatest() == 0 ? QStringLiteral("greatest difference  0")
                                             : QStringLiteral("greatest difference  %1 at %2,%3")
                                                   .arg(difference.greatest())
                                                   .arg(place.x())
                                                   .arg(place.y()));
    Output::print(
        QStringLiteral("pixels that differ   %1 %").arg(number(100 * difference.changedShare())));
}

QJsonObject toJson(const PictureDifference& difference, const QSize& size)
{
    const auto& means = difference.means();
    const QPoint place = difference.greatestAt();
    return {{QStringLiteral("size"), MetaDataJson::fromSize(size)},
        {QStringLiteral("mean"), difference.mean()},
        {QStringLiteral("means"), QJsonArray{means[0], means[1], means[2], means[3]}},
        {QStringLiteral("greatest"), difference.greatest()},
        {QStringLiteral("greatestAt"), QJsonArray{place.x(), place.y()}},
        {QStringLiteral("changedShare"), difference.changedShare()}};
}

/// Returns whether the pictures are as alike as wanted; failures are noted in the result.
bool compare(const CompareArguments& arguments, Result& result)
{
    const QString target = Arguments::toPath(arguments.target);
    const RKMediaDescriptor to{QFileInfo(target)};
    RKMediaError error = target.isEmpty() ? RKMediaError() : Writing::formatError(to);
    const auto pictureOf = [&](const std::string& argument) {
        const InputFile file = InputFile::of(argument);
        if (file.isAt(target))
            error = RKMediaError(
                RKMediaErrorCode::NotWritable, QStringLiteral("is one of the pictures"));
        return Picture{Arguments::toPath(argument), RKMediaDescriptor(QFileInfo(file.path)), {}};
    };
    Picture first = pictureOf(arguments.first);
    Picture second = pictureOf(arguments.second);
    if (error.isError()) {
        result.fail(target, error);
        return false;
    }

    const QSize size = Arguments::parseSize(arguments.size).value_or(QSize());
    if (!load(first, size, result) || !load(second, size, result))
        return false;
    const QSize firstSize = first.image.size();
    const QSize secondSize = second.image.size();
    if (!makeSameSize(first, second)) {
        result.refuse(second.file,
            QStringLiteral("the proportions differ: %1x%2 against %3x%4")
                .arg(secondSize.width())
                .arg(secondSize.height())
                .arg(firstSize.width())
                .arg(firstSize.height()));
        return false;
    }

    const PictureDifference difference(first.image, second.image);
    printAsText(difference, first.image.size());
    result.insert(toJson(difference, first.image.size()));
    if (!target.isEmpty()) {
        const QImage picture = difference.picture();
        if (RKImageLoader::instance()->save(to, picture, &error))
            result.addWritten(target, picture.size());
        else
            result.fail(target, error);
    }
    return !arguments.limit || difference.mean() <= *arguments.limit;
}

int compare(const CompareArguments& arguments)
{
    Result result(InputFile::of(arguments.first));
    result.insert(QStringLiteral("other"), Arguments::toPath(arguments.second));
    const bool isAlike = compare(arguments, result);
    if (arguments.limit && result.isDone())
        result.insert(QStringLiteral("withinLimit"), isAlike);
    return result.report() == Output::AllDone && isAlike ? Output::AllDone : Output::SomeFailed;
}

} // namespace

void addCompareCommand(CLI::App& app, Command& command)
{
    const auto arguments = std::make_shared<CompareArguments>();
    CLI::App* compareApp = app.add_subcommand(
        "compare", "Tell how much two pictures differ, upright and in sRGB, in levels of 0 to 255");
    addInput(*compareApp, "A", arguments->first, "A picture");
    addInput(*compareApp, "B", arguments->second, "The other picture");
    compareApp
        ->add_option("--size",
            arguments->size,
            "Compare at WxH pixels, proportions kept; otherwise at the size of the smaller one")
        ->type_name("WxH")
        ->check(Arguments::checked(Arguments::parseSize, "a size looks like 800x600"));
    compareApp
        ->add_option("--limit", arguments->limit, "End with 1 if the mean difference is greater")
        ->type_name("LEVELS")
        ->check(Arguments::checked(isLimit, "the limit is a number from 0"));
    compareApp
        ->add_option("--diff",
            arguments->target,
            "Save a picture of the difference, stretched so that the greatest is white")
        ->type_name("FILE")
        ->check(Arguments::newName());
    compareApp->callback(
        [arguments, &command] { command.run = [arguments]() { return compare(*arguments); }; });
}
