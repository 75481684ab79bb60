#include "print/PrintView.h"

#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "print/CropView.h"
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
        QSignalSpy opened(&view, &PrintView::opened);
        QSignalSpy exported(&view, &PrintView::exported);
        view.show();
        view.open(path);
        QVERIFY(opened.wait(20000));
        auto* crop = view.findChild<CropView*>();
        QCOMPARE(crop->crop(), QRectF(0, 0, 400, 600));

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
        QVERIFY(exported.wait(20000));
        const QImage print(result);
        QCOMPARE(print.size(), QSize(300, 300));
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
        CropView crop;
        crop.resize(424, 324);
        crop.setPicture(QImage(40, 30, QImage::Format_RGB32), {4000, 3000}); // 12 pixels of margin
        crop.setRatio(1.0);
        QCOMPARE(crop.crop(), QRectF(500, 0, 3000, 3000));
        const auto drag = [&crop](const QPoint& from, const QPoint& to) {
            QTest::mousePress(&crop, Qt::LeftButton, {}, from);
            QTest::mouseMove(&crop, to);
            QTest::mouseRelease(&crop, Qt::LeftButton, {}, to);
        };
        crop.show();
        drag({362, 312}, {212, 162}); // a corner to the middle
        QCOMPARE(crop.crop().topLeft(), QPointF(500, 0));
        QCOMPARE(crop.crop().size(), QSizeF(1500, 1500));
        drag({100, 100}, {1000, 1000}); // as a whole, far outside
        QCOMPARE(crop.crop(), QRectF(2500, 1500, 1500, 1500));
        drag({262, 162}, {1, 1});
        QCOMPARE(crop.crop(), QRectF(1000, 0, 3000, 3000));
        QTest::keyClick(&crop, Qt::Key_Left, Qt::ControlModifier);
        QCOMPARE(crop.crop().left(), 999.0);
        QTest::keyClick(&crop, Qt::Key_Left, Qt::ShiftModifier);
        QCOMPARE(crop.crop().size(), QSizeF(2960, 2960));
        crop.setRatio({});
        drag({412, 150}, {212, 150}); // the right edge alone
        QCOMPARE(crop.crop(), QRectF(0, 0, 2000, 3000));
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
