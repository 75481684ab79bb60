#include "OutputNames.h"

#include "InputFiles.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <CLI/CLI.hpp>

OutputNames::OutputNames(const QString& pattern)
    : m_pattern(pattern.contains(u'{') ? pattern : pattern + QStringLiteral("/{stem}.{ext}"))
{
}

bool OutputNames::isPattern(const std::string& pattern)
{
    static const QRegularExpression unknown(
        QStringLiteral("\\{(?!(name|stem|ext|width|height|number)\\})\\w+\\}"));
    return !QString::fromStdString(pattern).contains(unknown);
}

QString OutputNames::of(
    const QString& source, const QString& extension, const QSize& size, int number) const
{
    const QFileInfo file(source);
    const std::pair<QString, QString> values[]{{QStringLiteral("{name}"), file.fileName()},
        {QStringLiteral("{stem}"), file.completeBaseName()},
        {QStringLiteral("{ext}"), extension},
        {QStringLiteral("{width}"), QString::number(size.width())},
        {QStringLiteral("{height}"), QString::number(size.height())},
        {QStringLiteral("{number}"), QString::number(number)}};
    QString path;
    // Names may look like places, so what was put in isn't looked at again.
    for (qsizetype i = 0; i < m_pattern.size();) {
        const QStringView rest = QStringView(m_pattern).mid(i);
        const auto place = std::find_if(std::begin(values),
            std::end(values),
            [rest](const auto& value) { return rest.startsWith(value.first); });
        if (place == std::end(values)) {
            path += m_pattern[i++];
        } else {
            path += place->second;
            i += place->first.size();
        }
    }
    return path;
}

void Existing::addTo(CLI::App& command)
{
    CLI::Option* overwrite
        = command.add_flag("--overwrite", isOverwritten, "Replace files that are there");
    CLI::Option* skip
        = command.add_flag("--skip-existing", isSkipped, "Leave files that are there as they are");
    command
        .add_flag("--update", isUpdated, "Replace files that are older than what they are made of")
        ->excludes(overwrite)
        ->excludes(skip);
    skip->excludes(overwrite);
}

Writable writable(const InputFile& source, const QString& target, const Existing& existing)
{
    const QFileInfo to(target);
    if (!to.exists() && !to.isSymLink())
        return Writable::Yes;
    if (source.isAt(target))
        return Writable::No;
    if (existing.isSkipped)
        return Writable::Skip;
    if (existing.isUpdated)
        return to.lastModified() < QFileInfo(source.path).lastModified() ? Writable::Yes
                                                                         : Writable::Skip;
    return existing.isOverwritten ? Writable::Yes : Writable::No;
}
