// Paints a folder of pictures and takes photographs of the browser over it, for README and docs.
// Usage: rkbrowser_screenshots FOLDER [OUT]; without OUT it only paints. See scripts/screenshots.
#include "MainWindow.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKImageLoaderInitializer.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"

#include "RKCore/RKInitializer.h"
#include "RKGeoLocation/RKGeoPosition.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTest>

#include <cmath>

namespace {

constexpr QSize kPhoto(1800, 1200);

/// A scene of its own for each number.
class Scene
{
public:
    explicit Scene(quint32 number)
        : m_random(number * 7919 + 17)
        , m_hue(m_random.bounded(1.0))
        , m_image(kPhoto, QImage::Format_RGB32)
        , m_painter(&m_image)
    {
        m_painter.setRenderHint(QPainter::Antialiasing);
        sky();
        if (number % 4 == 1)
            city();
        else if (number % 4 == 3)
            meadow();
        else
            mountains(number % 4 == 2);
    }

    /// Somebody who looks at the camera; the face's rectangle in pixels.
    QRect person(int x)
    {
        const int side = 260;
        const QRect face(x, 420, side, side * 5 / 4);
        m_painter.setPen(Qt::NoPen);
        m_painter.setBrush(color(0.55, 0.45));
        m_painter.drawRoundedRect(x - 120, 720, side + 240, 700, 160, 160);
        m_painter.setBrush(QColor::fromHsvF(0.07F, 0.35F, static_cast<float>(number(0.6, 0.95))));
        m_painter.drawRect(x + 90, 680, 80, 90);
        m_painter.drawEllipse(face);
        m_painter.setBrush(QColor::fromHsvF(0.08F, 0.6F, static_cast<float>(number(0.15, 0.5))));
        m_painter.drawPie(face.adjusted(-16, -30, 16, 30), 10 * 16, 160 * 16);
        m_painter.setBrush(Qt::black);
        m_painter.drawEllipse(QPointF(x + 85, 590), 13, 10);
        m_painter.drawEllipse(QPointF(x + 175, 590), 13, 10);
        m_painter.setPen(QPen(QColor(150, 60, 50), 9, Qt::SolidLine, Qt::RoundCap));
        m_painter.drawArc(x + 80, 600, 100, 80, 200 * 16, 140 * 16);
        return face;
    }

    QImage image()
    {
        m_painter.end();
        return m_image;
    }

private:
    double number(double from, double to)
    {
        return from + m_random.bounded(to - from);
    }

    QColor color(double saturation, double value, double shift = 0)
    {
        const double hue = std::fmod(m_hue + shift + 1, 1);
        return QColor::fromHsvF(
            static_cast<float>(hue), static_cast<float>(saturation), static_cast<float>(value));
    }

    void sky()
    {
        QLinearGradient gradient(0, 0, 0, kPhoto.height() * 0.75);
        gradient.setColorAt(0, color(0.65, number(0.35, 0.8)));
        gradient.setColorAt(1, color(0.25, 1, 0.12));
        m_painter.fillRect(m_image.rect(), gradient);
        const QPointF sun(number(300, 1500), number(200, 500));
        QRadialGradient light(sun, 420);
        light.setColorAt(0, QColor(255, 250, 225));
        light.setColorAt(0.16, QColor(255, 240, 200, 220));
        light.setColorAt(0.2, QColor(255, 235, 190, 90));
        light.setColorAt(1, Qt::transparent);
        m_painter.fillRect(m_image.rect(), light);
    }

    void ridge(double base, double height, const QColor& paint)
    {
        QPainterPath path(QPointF(0, kPhoto.height()));
        std::array<double, 9> phases{};
        for (double& phase : phases)
            phase = number(0, 2 * M_PI);
        for (int x = 0; x <= kPhoto.width(); x += 3) {
            double y = 0;
            for (size_t i = 0; i < phases.size(); ++i)
                y += std::abs(std::sin(x * 0.0013 * std::pow(1.75, i) + phases[i]))
                    / std::pow(1.8, i);
            path.lineTo(x, base - height * (y - 1));
        }
        path.lineTo(kPhoto.width(), kPhoto.height());
        m_painter.setPen(Qt::NoPen);
        m_painter.setBrush(paint);
        m_painter.drawPath(path);
    }

    void mountains(bool hasLake)
    {
        for (int i = 0; i < 5; ++i)
            ridge(650 + i * 110, 330 - i * 45, color(0.25 + i * 0.12, 0.85 - i * 0.16, 0.05));
        if (!hasLake)
            return;
        const QImage above = m_image.copy(0, 500, kPhoto.width(), 400).mirrored();
        m_painter.setOpacity(0.9);
        m_painter.drawImage(QRect(0, 900, kPhoto.width(), 300), above);
        m_painter.setOpacity(0.12);
        for (int y = 905; y < kPhoto.height(); y += 12)
            m_painter.fillRect(0, y, kPhoto.width(), 4, Qt::white);
        m_painter.setOpacity(1);
    }

    void city()
    {
        ridge(800, 120, color(0.3, 0.55));
        for (int x = -40; x < kPhoto.width();) {
            const int width = m_random.bounded(90, 200);
            const int top = m_random.bounded(420, 850);
            m_painter.fillRect(x, top, width, kPhoto.height(), color(0.5, number(0.12, 0.3)));
            for (int row = top + 24; row < kPhoto.height(); row += 38) {
                for (int column = x + 16; column < x + width - 20; column += 30) {
                    if (m_random.bounded(3) > 0)
                        m_painter.fillRect(column, row, 14, 20, QColor(255, 220, 130));
                }
            }
            x += width + m_random.bounded(24);
        }
    }

    void meadow()
    {
        ridge(760, 160, color(0.35, 0.6));
        m_painter.fillRect(0, 800, kPhoto.width(), 400, QColor::fromHsvF(0.27F, 0.65F, 0.42F));
        for (int i = 0; i < 260; ++i) {
            const double y = 790 + i * 1.6;
            const double size = 4 + (y - 780) / 11;
            const QPointF at(number(0, kPhoto.width()), y);
            m_painter.setPen(QPen(QColor::fromHsvF(0.3F, 0.7F, 0.3F), size / 6));
            m_painter.drawLine(at, at + QPointF(0, size * 3));
            m_painter.setPen(Qt::NoPen);
            m_painter.setBrush(color(0.75, 0.95, number(-0.15, 0.15)));
            for (int petal = 0; petal < 6; ++petal)
                m_painter.drawEllipse(at
                        + QPointF(std::cos(petal * M_PI / 3), std::sin(petal * M_PI / 3)) * size
                            * 0.6,
                    size * 0.5,
                    size * 0.5);
            m_painter.setBrush(QColor(250, 210, 60));
            m_painter.drawEllipse(at, size * 0.4, size * 0.4);
        }
    }

    QRandomGenerator m_random;
    double m_hue;
    QImage m_image;
    QPainter m_painter;
};

bool paint(const QDir& folder, int number)
{
    Scene scene(static_cast<quint32>(number));
    RKMetaData metaData;
    if (number == 5) {
        RKFacePositions faces;
        const QRect first = scene.person(420);
        const QRect second = scene.person(1080);
        faces.append(
            RKFacePosition::named(RKFacePositions::normalizeRect(first, kPhoto), u"Mara"_qs));
        faces.append(
            RKFacePosition::named(RKFacePositions::normalizeRect(second, kPhoto), u"Jon"_qs));
        metaData.updateFaces(kPhoto, faces);
    }
    const QImage image = scene.image();
    metaData.setAdobeRating((number * 5 + 2) % 6);
    metaData.setKeywords({u"autumn"_qs, number % 4 == 1 ? u"city"_qs : u"hiking"_qs});
    metaData.setPictureTaken(QDateTime(QDate(2024, 9, 1 + number), QTime(7 + number % 12, 20)));
    metaData.setGeoPosition(RKGeoPosition(47.05 + number * 0.01, 11.4));
    metaData.write(RKMetaDataFieldEnum::exifMake, u"Lumen"_qs);
    metaData.write(RKMetaDataFieldEnum::exifModel, u"L-20"_qs);
    metaData.setThumbnail(image.scaled(160, 160, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    const RKMediaDescriptor file(folder, u"tour_%1.jpg"_qs.arg(number, 2, 10, QChar(u'0')));
    return RKImageLoader::instance()->save(file, RKDrawable(image), metaData);
}

/// Lets the window work until nothing changes any more.
void settle()
{
    QTest::qWait(2500);
}

bool grab(MainWindow& window, const QDir& out, const QString& name)
{
    settle();
    return window.grab().save(out.filePath(name + u".jpg"_qs), "JPEG", 88);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    RKImageLoaderConfig::useDefaults();
    RKInitializer::instance()->setup(RKInitializerOption::Application);
    RKImageLoaderInitializer::installTranslation(QLocale::English);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 2)
        return 2;
    const QDir folder(arguments[1]);
    folder.mkpath(u"."_qs);
    for (int number = 0; number < 24; ++number) {
        if (!paint(folder, number))
            return 1;
    }
    if (arguments.size() < 3)
        return 0;
    const QDir out(arguments[2]);
    MainWindow window;
    window.resize(1100, 700);
    window.open(folder.absolutePath());
    window.show();
    settle();
    window.open(folder.filePath(u"tour_05.jpg"_qs));
    bool isSaved = grab(window, out, u"browser-folder"_qs);
    window.show(MainWindow::Mode::File);
    const QList<QAction*> actions = window.actions();
    for (QAction* action : actions) {
        if (action->shortcut() == Qt::Key_H)
            action->trigger();
    }
    isSaved = grab(window, out, u"browser-picture"_qs) && isSaved;
    window.show(MainWindow::Mode::Print);
    isSaved = grab(window, out, u"browser-print"_qs) && isSaved;
    return isSaved ? 0 : 1;
}
