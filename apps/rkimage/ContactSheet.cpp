#include "ContactSheet.h"

#include "Storyboard.h"

#include <QFile>
#include <QFileInfo>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>

#include <algorithm>

namespace {

constexpr int kColumns = 4;
constexpr int kRows = 6;
constexpr int kPdfDpi = 150;

QImage pictureOf(const SheetEntry& entry)
{
    return QImage::fromData(entry.picture, "jpg");
}

QString fileName(const SheetEntry& entry)
{
    return QFileInfo(entry.name).fileName();
}

/// The picture, and below it two lines: the name and the facts, or why there is no picture.
void paintCell(QPainter& painter, const QRect& cell, const SheetEntry& entry)
{
    const int line = painter.fontMetrics().height();
    const QRect place = cell.adjusted(0, 0, 0, -2 * line);
    const QImage picture = pictureOf(entry);
    if (!picture.isNull()) {
        QRect target({}, picture.size().scaled(place.size(), Qt::KeepAspectRatio));
        target.moveCenter(place.center());
        painter.drawImage(target, picture);
    }
    const auto write = [&](int top, const QString& text) {
        const QRect row(cell.left(), top, cell.width(), line);
        painter.drawText(row,
            Qt::AlignHCenter,
            painter.fontMetrics().elidedText(text, Qt::ElideMiddle, row.width()));
    };
    write(place.bottom(), fileName(entry));
    write(place.bottom() + line, entry.picture.isEmpty() ? entry.error.text() : entry.facts());
}

/// Normalised rectangles as CSS wants them.
QString percent(double part)
{
    return QString::number(100 * part, 'f', 2) + u'%';
}

QString facesAsHtml(const SheetEntry& entry)
{
    QString html;
    for (const SheetEntry::Face& face : entry.faces) {
        html += QStringLiteral("<i style=\"left:%1;top:%2;width:%3;height:%4\"><b>%5</b></i>")
                    .arg(percent(face.rect.x()),
                        percent(face.rect.y()),
                        percent(face.rect.width()),
                        percent(face.rect.height()),
                        face.name.toHtmlEscaped());
    }
    return html;
}

QString asHtml(const SheetEntry& entry)
{
    const QString name = entry.name.toHtmlEscaped();
    const QString content = !entry.picture.isEmpty()
        ? QStringLiteral("<div class=\"p\"><img loading=\"lazy\" width=\"%1\" height=\"%2\" "
                         "alt=\"\" src=\"data:image/jpeg;base64,%3\">%4</div>")
              .arg(QString::number(entry.pictureSize.width()),
                  QString::number(entry.pictureSize.height()),
                  QString::fromLatin1(entry.picture.toBase64()),
                  facesAsHtml(entry))
        : QStringLiteral("<div class=\"e\">%1</div>").arg(entry.error.text().toHtmlEscaped());
    // Not by arg(): a name may look like one of its places.
    return QStringLiteral("<figure data-rating=\"") + QString::number(entry.rating)
        + QStringLiteral("\" title=\"") + name + QStringLiteral("\">") + content
        + QStringLiteral("<figcaption>") + fileName(entry).toHtmlEscaped()
        + QStringLiteral("<small>") + entry.facts().toHtmlEscaped()
        + QStringLiteral("</small></figcaption></figure>\n");
}

} // namespace

QImage ContactSheet::image(const QList<SheetEntry>& entries, int side)
{
    Storyboard board(side);
    for (const SheetEntry& entry : entries) {
        const QImage picture = pictureOf(entry);
        QImage empty(board.tileSize(), QImage::Format_RGB32);
        empty.fill(QColor(Qt::lightGray).rgb());
        board.add(picture.isNull() ? empty : picture, fileName(entry));
    }
    return board.image();
}

bool ContactSheet::writePdf(QIODevice* device, const QList<SheetEntry>& entries)
{
    QPdfWriter writer(device);
    writer.setResolution(kPdfDpi);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setPageMargins({10, 10, 10, 10}, QPageLayout::Millimeter);
    QPainter painter;
    if (!painter.begin(&writer))
        return false;
    QFont font;
    font.setPointSize(7);
    painter.setFont(font);
    const QSize page = painter.viewport().size();
    const QSize cell(page.width() / kColumns, page.height() / kRows);
    const int gap = cell.width() / 20;
    bool isDone = true;
    for (qsizetype i = 0; i < entries.size() && isDone; ++i) {
        const int place = int(i % (kColumns * kRows));
        if (i > 0 && place == 0)
            isDone = writer.newPage();
        const QPoint corner(place % kColumns * cell.width(), place / kColumns * cell.height());
        paintCell(painter, QRect(corner, cell).adjusted(gap, gap, -gap, -gap), entries[i]);
    }
    return painter.end() && isDone;
}

QByteArray ContactSheet::html(const QList<SheetEntry>& entries, const QString& title)
{
    QFile frame(QStringLiteral(":/rkimage/sheet.html"));
    if (!frame.open(QIODevice::ReadOnly))
        return {};
    const QByteArray page = frame.readAll();
    const QByteArray place = "<!-- entries -->";
    const qsizetype middle = page.indexOf(place);
    QByteArray html = page.left(middle).replace("<!-- title -->", title.toHtmlEscaped().toUtf8());
    for (const SheetEntry& entry : entries)
        html += asHtml(entry).toUtf8();
    return html + page.mid(middle + place.size());
}
