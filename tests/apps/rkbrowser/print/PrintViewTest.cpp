#include "print/PrintView.h"

#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKTestPictures.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class PrintViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void partOfATurnedPictureIsExportedUpright()
    {
        RKImageLoaderConfig::useDefaults();
        const QTemporaryDir dir;
        const QString path = dir.filePath(u"a.jpg"_s);
        // Shown as 400 x 600, blue and red above white and green.
        RKTestPictures::write(
            path, RKTestPictures::encoded(RKTestPictures::quadrants({600, 400}), "JPEG"));
        RKMetaData metaData{QFileInfo(path)};
        metaData.setImageOrientation(ORIENTATION_RIGHT_TOP);
        QVERIFY(metaData.save(QFileInfo(path)));
        RKAsyncLoader loader;
        PrintView view(&loader);
        view.show();
        view.open({path, 1});
        auto* crop = qobject_cast<CropFrame*>(
            view.findChild<PictureView*>()->scene()->items().constFirst()->toGraphicsObject());
        QTRY_COMPARE_WITH_TIMEOUT(crop->crop(), QRectF(0, 0, 400, 600), 20000);

        // Twice as much green as white, above it a little red.
        crop->setCrop({100, 280, 300, 300});
        view.findChild<QDoubleSpinBox*>()->setValue(25.4); // 1 inch, with 300 dpi
        const auto pixels = [&view] {
            const auto labels = view.findChildren<QLabel*>();
            return std::any_of(labels.begin(), labels.end(), [](const QLabel* label) {
                return label->text() == u"300 × 300"_s;
            });
        };
        QVERIFY(pixels());
        QVERIFY(!warning(view)->isVisible());
        view.findChild<QDoubleSpinBox*>()->setValue(50);
        QVERIFY(pixels()); // no more than there are
        QVERIFY(warning(view)->isVisible());

        const QString result = dir.filePath(u"print.png"_s);
        view.exportTo(result);
        QTRY_COMPARE_WITH_TIMEOUT(QImage(result).size(), QSize(300, 300), 20000);
        const QImage print(result);
        QCOMPARE(qRound(print.dotsPerMeterX() * 0.05), 300);
        const auto colorAt = [&print](int x, int y) {
            const QColor color = print.pixelColor(x, y);
            return (color.red() > 127 ? 4 : 0) + (color.green() > 127 ? 2 : 0)
                + (color.blue() > 127 ? 1 : 0);
        };
        QCOMPARE(colorAt(50, 5), 1); // blue
        QCOMPARE(colorAt(200, 5), 4); // red
        QCOMPARE(colorAt(50, 200), 7); // white
        QCOMPARE(colorAt(200, 200), 2); // green

        QSignalSpy failed(&view, &PrintView::failed);
        view.exportTo(dir.filePath(u"missing/print.jpg"_s));
        QVERIFY(failed.wait(20000));
        view.exportTo(dir.filePath(u"../%1/a.jpg"_s.arg(QFileInfo(dir.path()).fileName())));
        QCOMPARE(failed.size(), 2);
        QCOMPARE(QImage(path).size(), QSize(600, 400));
    }

    void draggedRectangleStaysInThePictureAndInItsForm()
    {
        QGraphicsScene scene;
        QGraphicsView view(&scene);
        view.resize(500, 400);
        CropFrame crop;
        scene.addItem(&crop);
        crop.setPictureSize({400, 300});
        crop.setRatio(1.0);
        QCOMPARE(crop.crop(), QRectF(50, 0, 300, 300));
        view.show();
        const auto drag = [&view](const QPoint& from, const QPoint& to) {
            QTest::mousePress(view.viewport(), Qt::LeftButton, {}, view.mapFromScene(from));
            QTest::mouseMove(view.viewport(), view.mapFromScene(to));
            QTest::mouseRelease(view.viewport(), Qt::LeftButton, {}, view.mapFromScene(to));
        };
        drag({350, 300}, {200, 150}); // a corner to the middle
        QCOMPARE(crop.crop(), QRectF(50, 0, 150, 150));
        drag({100, 50}, {380, 290}); // as a whole, outside
        QCOMPARE(crop.crop(), QRectF(250, 150, 150, 150));
        drag({250, 150}, {-5, -5});
        QCOMPARE(crop.crop(), QRectF(100, 0, 300, 300));
        crop.move({-1, 0}, Qt::ControlModifier);
        QCOMPARE(crop.crop().left(), 99.0);
        crop.move({-1, 0}, Qt::ShiftModifier);
        QCOMPARE(crop.crop().size(), QSizeF(296, 296));
        crop.setRatio({});
        drag({400, 150}, {200, 150}); // the right edge alone
        QCOMPARE(crop.crop(), QRectF(0, 0, 200, 300));
    }

private:
    static const QLabel* warning(const PrintView& view)
    {
        const auto labels = view.findChildren<QLabel*>();
        const auto found = std::find_if(
            labels.begin(), labels.end(), [](const QLabel* label) { return label->wordWrap(); });
        return *found;
    }
};

QTEST_MAIN(PrintViewTest)

#include "PrintViewTest.moc"
