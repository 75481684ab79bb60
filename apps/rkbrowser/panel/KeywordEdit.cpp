#include "panel/KeywordEdit.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QMouseEvent>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {

constexpr int kKeywordRole = Qt::UserRole;
// Where a click removes a chip: the cross and the padding after it.
constexpr int kCrossWidth = 22;

} // namespace

KeywordEdit::KeywordEdit(QWidget* parent)
    : QWidget(parent)
    , m_chips(new QListWidget(this))
    , m_line(new QLineEdit(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->setSpacing(4);
    layout->addWidget(m_chips);
    layout->addWidget(m_line);
    setFocusProxy(m_line);

    m_chips->setFlow(QListView::LeftToRight);
    m_chips->setWrapping(true);
    m_chips->setResizeMode(QListView::Adjust);
    m_chips->setFrameShape(QFrame::NoFrame);
    m_chips->setSpacing(2);
    m_chips->setToolTip(tr("Delete removes the marked keyword"));
    m_chips->setAccessibleName(tr("Keywords"));
    m_chips->setStyleSheet(QStringLiteral(
        "QListWidget { background: transparent; }"
        "QListWidget::item { background: palette(button); color: palette(button-text);"
        " border: 1px solid palette(mid); border-radius: 9px; padding: 2px 6px; }"
        "QListWidget::item:selected { background: palette(highlight);"
        " color: palette(highlighted-text); }"));
    m_chips->installEventFilter(this);
    m_chips->viewport()->installEventFilter(this);
    m_line->setPlaceholderText(tr("Add a keyword"));
    m_line->setAccessibleName(m_line->placeholderText());
    connect(m_line, &QLineEdit::editingFinished, this, &KeywordEdit::commit);
    setKeywords({});
}

QStringList KeywordEdit::keywords() const
{
    QStringList keywords;
    for (int row = 0; row < m_chips->count(); ++row)
        keywords << m_chips->item(row)->data(kKeywordRole).toString();
    return keywords;
}

void KeywordEdit::setKeywords(const QStringList& keywords)
{
    if (keywords != this->keywords() || keywords.isEmpty()) {
        m_chips->clear();
        for (const QString& keyword : keywords)
            append(keyword);
    }
    fitHeight();
}

void KeywordEdit::append(const QString& keyword)
{
    auto* chip = new QListWidgetItem(keyword.simplified() + QStringLiteral("  ✕"), m_chips);
    chip->setData(kKeywordRole, keyword);
}

void KeywordEdit::commit()
{
    QStringList added;
    const QStringList texts = m_line->text().split(u',', Qt::SkipEmptyParts);
    m_line->clear();
    for (const QString& text : texts) {
        const QString keyword = text.trimmed();
        if (!keyword.isEmpty() && !added.contains(keyword) && !keywords().contains(keyword)) {
            added << keyword;
            append(keyword);
        }
    }
    fitHeight();
    if (!added.isEmpty())
        Q_EMIT changed({}, added);
}

void KeywordEdit::removeRow(int row)
{
    const QScopedPointer<QListWidgetItem> chip(m_chips->takeItem(row));
    fitHeight();
    if (chip)
        Q_EMIT changed({chip->data(kKeywordRole).toString()}, {});
}

void KeywordEdit::fitHeight()
{
    m_chips->setVisible(m_chips->count() > 0);
    if (m_chips->count() == 0)
        return;
    m_chips->doItemsLayout();
    const QRect last = m_chips->visualItemRect(m_chips->item(m_chips->count() - 1));
    constexpr int kMaxHeight = 160;
    m_chips->setFixedHeight(
        qMin(last.bottom() + 6 + m_chips->verticalScrollBar()->value(), kMaxHeight));
}

bool KeywordEdit::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Resize && watched == m_chips->viewport()) {
        QMetaObject::invokeMethod(this, &KeywordEdit::fitHeight, Qt::QueuedConnection);
    } else if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<const QKeyEvent*>(event)->key();
        if ((key == Qt::Key_Delete || key == Qt::Key_Backspace) && m_chips->currentItem()) {
            removeRow(m_chips->currentRow());
            return true;
        }
    } else if (event->type() == QEvent::MouseButtonRelease) {
        const QPoint place = static_cast<const QMouseEvent*>(event)->position().toPoint();
        const QListWidgetItem* chip = m_chips->itemAt(place);
        if (chip && m_chips->visualItemRect(chip).right() - place.x() < kCrossWidth)
            removeRow(m_chips->row(chip));
    }
    return QWidget::eventFilter(watched, event);
}
