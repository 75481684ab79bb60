#include "panel/InformationPanel.h"

#include "BackgroundThreads.h"
#include "WhenDone.h"
#include "panel/EditHistory.h"
#include "panel/KeywordEdit.h"

#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <QScrollArea>
#include <QToolButton>
#include <QtConcurrent>

namespace {

constexpr int kStars = 5;
constexpr int kSettlingMs = 200;

/// What changes with the file, and also if another file takes its name.
QString stampOf(const QString& filePath)
{
    const QFileInfo file(filePath);
    return QStringLiteral("%1 %2").arg(file.size()).arg(file.lastModified().toMSecsSinceEpoch());
}

QString dateText(const QDateTime& date)
{
    const QString text = date.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    return date.timeSpec() == Qt::LocalTime
        ? text
        : text + u' ' + date.toOffsetFromUtc(date.offsetFromUtc()).toString(Qt::ISODate).mid(19);
}

/// Of "2021-07-04 12:30:05 +02:00", where the seconds and the offset may be left out.
QDateTime parseDate(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral(
        "^\\s*(\\d{4}-\\d\\d-\\d\\d)[ T]+(\\d\\d:\\d\\d(?::\\d\\d)?)\\s*(Z|[+-]\\d\\d:\\d\\d)?\\s*$"));
    const QRegularExpressionMatch match = pattern.match(text);
    return QDateTime::fromString(
        match.captured(1) + u'T' + match.captured(2) + match.captured(3), Qt::ISODate);
}

QString positionText(const RKGeoPosition& position)
{
    constexpr int kDigits = 6; // 11 cm
    return position.isValid()
        ? QStringLiteral("%1, %2").arg(QString::number(position.latitude().degrees(), 'f', kDigits),
            QString::number(position.longitude().degrees(), 'f', kDigits))
        : QString();
}

/// Of "48.858222, 2.2945" or "48.858222 N 2.2945 E".
RKGeoPosition parsePosition(const QString& text)
{
    static const QRegularExpression pattern(
        QStringLiteral("^\\s*([+-]?\\d+(?:\\.\\d+)?)\\s*°?\\s*([NS]?)[\\s,;]+"
                       "([+-]?\\d+(?:\\.\\d+)?)\\s*°?\\s*([EW]?)\\s*$"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(text);
    const auto angle = [&match](int group, QChar negative) {
        const bool isNegative
            = match.captured(group + 1).compare(negative, Qt::CaseInsensitive) == 0;
        return match.captured(group).toDouble() * (isNegative ? -1 : 1);
    };
    return match.hasMatch() ? RKGeoPosition(angle(1, u'S'), angle(3, u'W')) : RKGeoPosition();
}

QLabel* valueLabel(const QString& text)
{
    auto* label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

InformationPanel::InformationPanel(EditHistory* history, QWidget* parent)
    : QWidget(parent)
    , m_history(history)
    , m_keywords(new KeywordEdit)
    , m_editors(new QWidget)
    , m_rows(new QFormLayout)
    , m_name(valueLabel({}))
    , m_problem(valueLabel({}))
{
    m_name->setStyleSheet(QStringLiteral("font-weight: bold"));
    m_problem->setStyleSheet(QStringLiteral("background: palette(alternate-base);"
                                            "color: palette(text);"
                                            "border: 1px solid #c0392b; border-radius: 4px;"
                                            "padding: 4px"));
    m_problem->hide();
    auto* form = new QFormLayout(m_editors);
    form->setContentsMargins({});
    addStars(form);
    addLines(form);
    m_rows->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);

    auto* content = new QWidget;
    auto* contentLayout = new QVBoxLayout(content);
    for (QWidget* widget :
        {static_cast<QWidget*>(m_name), static_cast<QWidget*>(m_problem), m_editors})
        contentLayout->addWidget(widget);
    contentLayout->addSpacing(8);
    contentLayout->addLayout(m_rows);
    contentLayout->addStretch();
    auto* scrollArea = new QScrollArea;
    scrollArea->setWidget(content);
    scrollArea->setWidgetResizable(true);
    scrollArea->setFrameShape(QFrame::NoFrame);
    scrollArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrollArea->setFocusPolicy(Qt::NoFocus);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(scrollArea);

    m_settling.setSingleShot(true);
    m_settling.setInterval(kSettlingMs);
    connect(&m_settling, &QTimer::timeout, this, &InformationPanel::lookForChange);
    const auto settle = [this] { m_settling.start(); };
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, settle);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, settle);
    connect(history, &EditHistory::fileWritten, this, [this](const QString& filePath) {
        if (filePath != m_filePath)
            return;
        showProblem({});
        reload();
    });
    connect(
        history, &EditHistory::failed, this, [this](const QString& filePath, const QString& why) {
            if (filePath != m_filePath)
                return;
            reload();
            showProblem(tr("Not saved: %1").arg(why));
        });
    showFile({});
}

InformationPanel::~InformationPanel()
{
    commit();
    // A line that loses the focus while it dies reports its text once more.
    m_filePath.clear();
    delete m_editors;
}

void InformationPanel::addStars(QFormLayout* form)
{
    auto* stars = new QHBoxLayout;
    stars->setSpacing(0);
    for (int i = 1; i <= kStars; ++i) {
        auto* star = new QToolButton;
        star->setAutoRaise(true);
        star->setStyleSheet(QStringLiteral("font-size: 18px; padding: 0px"));
        star->setAccessibleName(tr("%n star(s)", nullptr, i));
        star->setToolTip(tr("%n star(s)", nullptr, i));
        connect(star, &QToolButton::clicked, this, [this, i] {
            // A second click at the last star takes all away.
            const int rating = m_facts.metaData.adobeRating() == i ? 0 : i;
            m_history->setRating(m_filePath, rating);
        });
        stars->addWidget(star);
        m_stars << star;
    }
    stars->addStretch();
    form->addRow(tr("Rating"), stars);
}

void InformationPanel::addLines(QFormLayout* form)
{
    using Field = RKMetaDataFieldEnum;
    const auto addText = [this, form](const QString& name, Field field) {
        const auto read = [field](const RKMetaData& metaData) { return metaData.read(field); };
        addLine(form, name, {}, read, [this, field](const RKMetaData& shown, const QString& text) {
            m_history->setText(m_filePath, field, shown.read(field), text);
            return true;
        });
    };
    addText(tr("Title"), Field::originalFilename);
    form->addRow(tr("Keywords"), m_keywords);
    connect(
        m_keywords, &KeywordEdit::changed, this, [this](const auto& removed, const auto& added) {
            m_history->changeKeywords(m_filePath, removed, added);
        });
    addText(tr("Author"), Field::author);
    addText(tr("Copyright"), Field::copyright);
    addLine(
        form,
        tr("Taken"),
        tr("such as 2021-07-04 12:30 +02:00"),
        [](const RKMetaData& metaData) { return dateText(metaData.pictureTaken()); },
        [this](const RKMetaData& shown, const QString& text) {
            const QDateTime date = parseDate(text);
            if (date.isValid())
                m_history->setPictureTaken(m_filePath, shown.pictureTaken(), date);
            return date.isValid();
        });
    addLine(
        form,
        tr("Place"),
        tr("such as 48.858222, 2.2945"),
        [](const RKMetaData& metaData) { return positionText(metaData.geoPosition()); },
        [this](const RKMetaData& shown, const QString& text) {
            const RKGeoPosition position = parsePosition(text);
            const bool isMeant = position.isValid() || text.isEmpty();
            if (isMeant)
                m_history->setPosition(m_filePath, shown.geoPosition(), position);
            return isMeant;
        });
}

void InformationPanel::addLine(QFormLayout* form,
    const QString& name,
    const QString& hint,
    const std::function<QString(const RKMetaData&)>& read,
    const std::function<bool(const RKMetaData&, const QString&)>& write)
{
    auto* edit = new QLineEdit;
    edit->setPlaceholderText(hint);
    edit->setAccessibleName(name);
    form->addRow(name, edit);
    m_lines.push_back({edit, read, write, {}});
    const size_t index = m_lines.size() - 1;
    connect(edit, &QLineEdit::editingFinished, this, [this, index] { commitLine(m_lines[index]); });
}

void InformationPanel::commitLine(Line& line)
{
    const QString text = line.edit->text().trimmed();
    if (!line.edit->isModified() || m_filePath.isEmpty() || !m_history)
        return;
    if (text == line.read(line.shown) || line.write(line.shown, text)) {
        line.edit->setModified(false);
    } else {
        showProblem(tr("Not saved: %1 is a text %2")
                        .arg(line.edit->accessibleName(), line.edit->placeholderText()));
    }
}

void InformationPanel::commit()
{
    if (!m_history)
        return;
    m_keywords->commit();
    for (Line& line : m_lines)
        commitLine(line);
}

void InformationPanel::hideEvent(QHideEvent* event)
{
    commit();
    QWidget::hideEvent(event);
}

void InformationPanel::showFile(const QString& filePath)
{
    if (!m_filePath.isEmpty())
        commit();
    if (filePath != m_filePath) {
        for (Line& line : m_lines)
            line.edit->setModified(false);
        m_filePath = filePath;
        showProblem({});
        watch();
    }
    reload();
}

void InformationPanel::reload()
{
    const quint64 request = ++m_request;
    if (m_filePath.isEmpty()) {
        display({});
        return;
    }
    m_stamp = stampOf(m_filePath);
    whenDone(QtConcurrent::run(backgroundThreads(), &FileFacts::read, m_filePath),
        this,
        [this, request](const FileFacts& facts) {
            if (request == m_request)
                display(facts);
        });
}

void InformationPanel::display(const FileFacts& facts)
{
    m_facts = facts;
    m_name->setText(QFileInfo(m_filePath).fileName());
    m_editors->setVisible(facts.isPicture);
    showRating(facts.metaData.adobeRating());
    m_keywords->setKeywords(facts.metaData.keywordsOfAllPlaces());
    for (Line& line : m_lines) {
        // What the user is typing stays, with what it was made from.
        if (!line.edit->isModified()) {
            line.shown = facts.metaData;
            line.edit->setText(line.read(line.shown));
            line.edit->setCursorPosition(0);
        }
    }
    while (m_rows->rowCount() > 0)
        m_rows->removeRow(0);
    for (const auto& [name, value] : facts.rows)
        m_rows->addRow(name, valueLabel(value));
    if (!facts.problem.isEmpty())
        showProblem(facts.problem);
    Q_EMIT shown(m_filePath);
}

void InformationPanel::showRating(int rating)
{
    for (int i = 0; i < kStars; ++i)
        m_stars[i]->setText(i < rating ? QStringLiteral("★") : QStringLiteral("☆"));
}

void InformationPanel::showProblem(const QString& text)
{
    m_problem->setText(text);
    m_problem->setVisible(!text.isEmpty());
}

void InformationPanel::watch()
{
    const QStringList watched = m_watcher.files() + m_watcher.directories();
    if (!watched.isEmpty())
        m_watcher.removePaths(watched);
    // The folder, too: a file that is replaced is another one.
    if (!m_filePath.isEmpty())
        m_watcher.addPaths({m_filePath, QFileInfo(m_filePath).absolutePath()});
}

void InformationPanel::lookForChange()
{
    watch();
    if (m_filePath.isEmpty() || stampOf(m_filePath) == m_stamp)
        return;
    reload();
    Q_EMIT changedOnDisk(m_filePath);
}
