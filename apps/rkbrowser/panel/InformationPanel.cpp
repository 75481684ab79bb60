#include "panel/InformationPanel.h"

#include "Background.h"
#include "RKImageLoaderAsync/RKMetaDataHistory.h"

#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;
using Item = RKMediaCard::Item;
using Field = RKMetaDataFieldEnum;

namespace {

constexpr int kMaxRating = 5;

QString dateText(const QDateTime& date)
{
    constexpr qsizetype kDateLength = 19;
    QString text = date.toString(Qt::ISODate).replace(u'T', u' ');
    if (text.size() > kDateLength)
        text.insert(kDateLength, u' '); // before the offset
    return text;
}

/// Reads "2021-07-04 12:30:05 +02:00", where the seconds and the offset may be left out.
QDateTime parseDate(const QString& text)
{
    static const QRegularExpression blankBeforeOffset(u" (?=[-+Z])"_s);
    return QDateTime::fromString(text.simplified().remove(blankBeforeOffset), Qt::ISODate);
}

QString positionText(const RKGeoPosition& position)
{
    constexpr int kDigits = 6; // 11 cm
    return position.isValid()
        ? u"%1, %2"_s.arg(QString::number(position.latitude().degrees(), 'f', kDigits),
            QString::number(position.longitude().degrees(), 'f', kDigits))
        : QString();
}

/// Reads "48.858222, 2.2945" or "48.858222 N 2.2945 E".
RKGeoPosition parsePosition(const QString& text)
{
    static const QRegularExpression pattern(u"^\\s*([+-]?\\d+(?:\\.\\d+)?)\\s*°?\\s*([NS]?)[\\s,;]+"
                                            "([+-]?\\d+(?:\\.\\d+)?)\\s*°?\\s*([EW]?)\\s*$"_s,
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(text);
    const auto angle = [&match](int group, QChar negative) {
        const bool isNegative
            = match.captured(group + 1).compare(negative, Qt::CaseInsensitive) == 0;
        return match.captured(group).toDouble() * (isNegative ? -1 : 1);
    };
    return match.hasMatch() ? RKGeoPosition(angle(1, u'S'), angle(3, u'W')) : RKGeoPosition();
}

QLabel* label(Qt::TextInteractionFlags interaction)
{
    auto* label = new QLabel;
    label->setWordWrap(true);
    label->setTextInteractionFlags(interaction);
    return label;
}

/// For a label, which says the target when the text is clicked, or Enter is pressed there.
QString link(qsizetype target, const QString& text, const QString& style)
{
    return u"<a href=\"%1\" style=\"text-decoration:none; %2\">%3</a>"_s.arg(
        QString::number(target), style, text);
}

} // namespace

InformationPanel::InformationPanel(RKMetaDataHistory* history)
    : m_history(history)
    , m_editors(new QWidget)
    , m_name(label(Qt::TextSelectableByMouse))
    , m_problem(label(Qt::TextSelectableByMouse))
    , m_stars(label(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard))
    , m_keywords(label(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard))
    , m_newKeywords(new QLineEdit)
    , m_rows(label(Qt::TextSelectableByMouse))
{
    for (QLabel* plain : {m_name, m_problem})
        plain->setTextFormat(Qt::PlainText);
    m_name->setStyleSheet(u"font-weight: bold"_s);
    m_problem->setStyleSheet(u"border: 1px solid #c0392b; border-radius: 4px; padding: 4px"_s);
    auto* form = new QFormLayout(m_editors);
    form->setContentsMargins({});
    m_stars->setAccessibleName(RKMediaCard::label(Item::Rating));
    form->addRow(m_stars->accessibleName(), m_stars);
    connect(m_stars, &QLabel::linkActivated, this, [this](const QString& stars) {
        // A second click at the last star takes all away.
        const bool isSame = m_facts.metaData.adobeRating() == stars.toInt();
        m_history->setRating(m_file.path, isSame ? 0 : stars.toInt());
    });
    addText(form, Item::Title, Field::originalFilename);
    addText(form, Item::Description, Field::exifImageDescription);
    addText(form, Item::Comment, Field::exifUserComment);
    addKeywords(form);
    addText(form, Item::Author, Field::author);
    addText(form, Item::Copyright, Field::copyright);
    m_lines.push_back({Item::Taken,
        addLine(form, Item::Taken, tr("such as 2021-07-04 12:30 +02:00")),
        [](const RKMetaData& metaData) { return dateText(metaData.pictureTaken()); },
        [](RKMetaData& metaData, const QString& text) {
            const QDateTime date = parseDate(text);
            if (text.isEmpty())
                metaData.removePictureTaken();
            else
                metaData.setPictureTaken(date);
            return date.isValid() || text.isEmpty();
        }});
    m_lines.push_back({Item::Position,
        addLine(form, Item::Position, tr("such as 48.858222, 2.2945")),
        [](const RKMetaData& metaData) { return positionText(metaData.geoPosition()); },
        [](RKMetaData& metaData, const QString& text) {
            const RKGeoPosition position = parsePosition(text);
            metaData.setGeoPosition(position);
            if (text.isEmpty())
                metaData.removeGeoPosition();
            return position.isValid() || text.isEmpty();
        }});
    for (Line& line : m_lines)
        connect(line.edit, &QLineEdit::editingFinished, this, [this, &line] { commitLine(line); });

    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    for (QWidget* part : std::initializer_list<QWidget*>{m_name, m_problem, m_editors, m_rows})
        layout->addWidget(part);
    layout->addStretch();
    setWidget(content);
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);

    connect(history, &RKMetaDataHistory::fileWritten, this, [this](const QString& filePath) {
        if (filePath == m_file.path)
            showProblem({});
    });
    connect(history,
        &RKMetaDataHistory::failed,
        this,
        [this](const auto& filePath, const auto& reason) {
            if (filePath != m_file.path)
                return;
            display();
            showProblem(tr("Not saved: %1").arg(reason));
        });
    display();
}

InformationPanel::~InformationPanel()
{
    commit();
    // A line that loses the focus while it dies reports its text once more.
    m_file = {};
    delete takeWidget();
}

void InformationPanel::addKeywords(QFormLayout* form)
{
    m_keywords->setAccessibleName(RKMediaCard::label(Item::Keywords));
    m_keywords->setToolTip(tr("A click removes a keyword"));
    m_newKeywords->setPlaceholderText(tr("Add a keyword"));
    m_newKeywords->setAccessibleName(m_newKeywords->placeholderText());
    form->addRow(m_keywords->accessibleName(), m_keywords);
    form->addRow({}, m_newKeywords);
    connect(m_newKeywords, &QLineEdit::editingFinished, this, &InformationPanel::commitKeywords);
    connect(m_keywords, &QLabel::linkActivated, this, [this](const QString& place) {
        changeKeywords(m_facts.metaData.keywordsOfAllPlaces().value(place.toInt()), {});
    });
}

void InformationPanel::addText(QFormLayout* form, Item item, Field field)
{
    m_lines.push_back({item,
        addLine(form, item, {}),
        [field](const RKMetaData& metaData) { return metaData.read(field); },
        [field](RKMetaData& metaData, const QString& text) {
            metaData.write(field, text);
            return true;
        }});
}

QLineEdit* InformationPanel::addLine(QFormLayout* form, Item item, const QString& hint)
{
    auto* edit = new QLineEdit;
    edit->setPlaceholderText(hint);
    edit->setAccessibleName(RKMediaCard::label(item));
    form->addRow(edit->accessibleName(), edit);
    return edit;
}

bool InformationPanel::isEdited(Item item) const
{
    switch (item) {
    case Item::Keywords: return m_facts.isPicture;
    case Item::Rating: return m_facts.isPicture && !m_facts.metaData.isRejected();
    case Item::Position: return m_facts.isPicture && !m_facts.metaData.captureSettings().altitude;
    default:
        return m_facts.isPicture
            && std::any_of(m_lines.begin(), m_lines.end(), [item](const Line& line) {
                   return line.item == item;
               });
    }
}

void InformationPanel::commit()
{
    commitKeywords();
    for (Line& line : m_lines)
        commitLine(line);
}

void InformationPanel::commitLine(Line& line)
{
    if (!line.edit->isModified() || m_file.path.isEmpty())
        return;
    const QString text = line.edit->text().trimmed();
    const QString shown = line.read(line.shown);
    RKMetaData wanted = line.shown;
    if (text != shown && !line.write(wanted, text)) {
        return showProblem(tr("Not saved: %1 is a text %2")
                               .arg(line.edit->accessibleName(), line.edit->placeholderText()));
    }
    line.edit->setModified(false);
    if (text == shown)
        return;
    m_history->edit(m_file.path,
        tr("%1 of %2").arg(line.edit->accessibleName()),
        [read = line.read, write = line.write, shown, text, result = line.read(wanted)](
            RKMetaData& metaData) {
            const QString now = read(metaData);
            return now == result || (now == shown && write(metaData, text));
        });
}

void InformationPanel::commitKeywords()
{
    QStringList added;
    const QStringList texts = m_newKeywords->text().split(u',');
    m_newKeywords->clear();
    for (const QString& text : texts)
        added << text.trimmed();
    added.removeAll(QString());
    if (!added.isEmpty() && !m_file.path.isEmpty())
        changeKeywords({}, added);
}

void InformationPanel::changeKeywords(const QString& removed, const QStringList& added)
{
    m_history->edit(m_file.path, tr("Keywords of %1"), [=](RKMetaData& metaData) {
        // Those that others have added meanwhile stay.
        const QStringList known = metaData.keywordsOfAllPlaces();
        QStringList keywords = known + added;
        keywords.removeDuplicates();
        keywords.removeAll(removed);
        if (keywords != known)
            metaData.setKeywords(keywords);
        return true;
    });
}

void InformationPanel::showFile(const MediaFile& file)
{
    if (file == m_file)
        return;
    if (file.path != m_file.path) {
        commit();
        for (Line& line : m_lines)
            line.edit->setModified(false);
        showProblem({});
    }
    m_file = file;
    const auto show = [this, file](const FileFacts& facts) {
        if (file != m_file)
            return;
        m_facts = facts;
        display();
    };
    if (file.path.isEmpty())
        show({});
    else
        whenDone(QtConcurrent::run(backgroundThreads(), &FileFacts::read, file.path), this, show);
}

void InformationPanel::display()
{
    m_name->setText(QFileInfo(m_file.path).fileName());
    m_editors->setVisible(m_facts.isPicture);
    for (Line& line : m_lines) {
        // What the user is typing stays, with what it was made from.
        if (!line.edit->isModified()) {
            line.shown = m_facts.metaData;
            line.edit->setText(line.read(line.shown));
            line.edit->setCursorPosition(0);
        }
    }
    const QString star = u"font-size:large; color:"_s + palette().color(QPalette::Text).name();
    QString stars;
    for (int i = 1; i <= kMaxRating; ++i)
        stars += link(i, m_facts.metaData.adobeRating() < i ? u"☆"_s : u"★"_s, star);
    m_stars->setText(stars);
    const QString chip
        = u"background-color:%1; color:%2"_s.arg(palette().color(QPalette::Highlight).name(),
            palette().color(QPalette::HighlightedText).name());
    const QStringList keywords = m_facts.metaData.keywordsOfAllPlaces();
    QStringList chips;
    for (const QString& keyword : keywords)
        chips << link(chips.size(), u"&nbsp;%1&nbsp;✕&nbsp;"_s.arg(keyword.toHtmlEscaped()), chip);
    m_keywords->setText(chips.join(u' '));
    m_keywords->setVisible(!chips.isEmpty());
    QString rows;
    for (const RKMediaCard::Group& group : m_facts.card) {
        for (const auto& [item, text] : group) {
            if (!isEdited(item))
                rows += u"<tr><td>%1&nbsp;&nbsp;</td><td>%2</td></tr>"_s.arg(
                    RKMediaCard::label(item), text.toHtmlEscaped());
        }
    }
    m_rows->setText(u"<table>%1</table>"_s.arg(rows));
    if (m_problem->text().isEmpty())
        showProblem(m_facts.problem);
}

void InformationPanel::showProblem(const QString& text)
{
    m_problem->setText(text);
    m_problem->setVisible(!text.isEmpty());
}
