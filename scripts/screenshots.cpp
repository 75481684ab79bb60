// Paints a folder of pictures and takes photographs of the browser over it, for README and docs.
// Usage: rkbrowser_screenshots FOLDER OUT. See the script screenshots.
#include "MainWindow.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKImageLoaderInitializer.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include "RKCore/RKInitializer.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QPainter>
#include <QPainterPath>
#include <QStandardPaths>
#include <QTest>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kPhoto(1800, 1200);

/// Mountains under a sun, others for each number.
void paintScene(QPainter* painter, int number)
{
    const auto color = [number](int saturation, int value, int shift = 0) {
        return QColor::fromHsv((number * 67 + shift) % 360, saturation, value);
    };
    QLinearGradient sky(0, 0, 0, kPhoto.height());
    sky.setColorAt(0, color(170, 120 + number * 37 % 100));
    sky.setColorAt(1, color(60, 255, 40));
    painter->fillRect(QRect(QPoint(), kPhoto), sky);
    painter->setPen(Qt::NoPen);
    painter->setBrush(QColor(255, 250, 225));
    painter->drawEllipse(QPoint(300 + number * 431 % 1200, 200 + number * 97 % 300), 70, 70);
    for (int ridge = 0; ridge < 5; ++ridge) {
        QPolygonF line{QPointF(kPhoto.width(), kPhoto.height()), QPointF(0, kPhoto.height())};
        for (int x = 0; x <= kPhoto.width(); x += 3) {
            double height = 0;
            for (int wave = 1; wave <= 6; ++wave) {
                height
                    += std::abs(std::sin(x * 0.0013 * std::pow(1.75, wave) + number * wave + ridge))
                    / std::pow(1.8, wave);
            }
            line << QPointF(x, 800 + ridge * 100 - (300 - ridge * 40) * height);
        }
        painter->setBrush(color(60 + ridge * 30, 215 - ridge * 40, 20));
        painter->drawPolygon(line);
    }
}

/// Somebody who looks at the camera; returns the face.
QRect paintPerson(QPainter* painter, int x)
{
    const QRect face(x, 420, 260, 325);
    painter->setBrush(QColor::fromHsv(x % 360, 140, 120));
    painter->drawRoundedRect(x - 120, 720, 500, 700, 160, 160);
    painter->setBrush(QColor(235, 190, 150));
    painter->drawEllipse(face);
    painter->setBrush(QColor(70, 45, 25));
    painter->drawPie(face.adjusted(-16, -30, 16, 30), 10 * 16, 160 * 16);
    for (const int eye : {85, 175})
        painter->drawEllipse(QPoint(x + eye, 590), 13, 10);
    painter->drawChord(x + 80, 600, 100, 80, 200 * 16, 140 * 16);
    return face;
}

bool paint(const QDir& folder, int number)
{
    QImage image(kPhoto, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    paintScene(&painter, number);
    RKMetaData metaData;
    if (number == 5) {
        RKFacePositions faces;
        for (const auto& [x, name] : {std::pair(420, u"Mara"_s), {1080, u"Jon"_s}}) {
            const QRect face = paintPerson(&painter, x);
            faces.append(RKFacePosition::named(RKFacePositions::normalizeRect(face, kPhoto), name));
        }
        metaData.updateFaces(kPhoto, faces);
    }
    metaData.setAdobeRating((number * 5 + 2) % 6);
    metaData.setKeywords({u"autumn"_s, u"hiking"_s});
    metaData.setPictureTaken(QDateTime(QDate(2024, 9, 1 + number), QTime(7 + number % 12, 20)));
    metaData.setGeoPosition(RKGeoPosition(47.05 + number * 0.01, 11.4));
    const RKMediaDescriptor file(folder, u"tour_%1.jpg"_s.arg(number, 2, 10, QChar(u'0')));
    return RKImageLoader::instance()->save(file, RKDrawable(image), metaData);
}

bool grab(MainWindow& window, const QDir& out, const QString& name)
{
    // Until nothing changes any more.
    QTest::qWait(2500);
    return window.grab().save(out.filePath(name + u".jpg"_s), "JPEG", 88);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    RKImageLoaderConfig::useDefaults();
    RKInitializer::instance()->setup(RKInitializerOption::Application);
    RKImageLoaderInitializer::installTranslation(QLocale::English);
    const QDir folder(QApplication::arguments().value(1));
    const QDir out(QApplication::arguments().value(2));
    bool isDone = folder.mkpath(u"."_s);
    for (int number = 0; number < 24; ++number)
        isDone = paint(folder, number) && isDone;
    MainWindow window;
    window.resize(1100, 700);
    window.open(folder.filePath(u"tour_05.jpg"_s));
    window.show();
    isDone = grab(window, out, u"browser-folder"_s) && isDone;
    window.show(MainWindow::Mode::File);
    const QList<QAction*> actions = window.actions();
    for (QAction* action : actions) {
        if (action->shortcut() == Qt::Key_H)
            action->setChecked(true);
    }
    isDone = grab(window, out, u"browser-picture"_s) && isDone;
    window.show(MainWindow::Mode::Print);
    return grab(window, out, u"browser-print"_s) && isDone ? 0 : 1;
}
