#include "video/VideoView.h"

#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "support/RKTestClips.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class VideoViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void framesFollowKeysAndTheLastWish()
    {
        if (!RKTestClips::canEncode())
            QSKIP("There is no ffmpeg tool");
        RKImageLoaderConfig::useDefaults();
        const QTemporaryDir dir;
        const QString path = RKTestClips::make({.name = "clip.mp4", .frames = 90}, dir.path());
        RKAsyncLoader loader;
        VideoView view(&loader);
        view.resize(400, 400);
        view.show();
        QSignalSpy shown(&view, &VideoView::frameShown);
        view.open(path);
        QVERIFY(shown.wait(20000));
        QCOMPARE(view.lastFrame(), 89);

        const auto press = [&view](Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
            QTest::keyClick(&view, key, modifiers);
        };
        press(Qt::Key_Home);
        press(Qt::Key_Right, Qt::ShiftModifier); // 25 or 30 frames
        press(Qt::Key_Left);
        QTRY_VERIFY_WITH_TIMEOUT(view.shownFrame() == 24 || view.shownFrame() == 29, 20000);
        press(Qt::Key_End);
        press(Qt::Key_Right);
        QTRY_COMPARE_WITH_TIMEOUT(view.shownFrame(), 89, 20000);

        shown.clear();
        for (int frame = 0; frame <= 60; ++frame)
            view.showFrame(frame);
        QTRY_COMPARE_WITH_TIMEOUT(view.shownFrame(), 60, 20000);
        QVERIFY(shown.size() <= 2); // the one under way, and the last

        QSignalSpy saved(&view, &VideoView::saved);
        QSignalSpy failed(&view, &VideoView::failed);
        const QString still = dir.filePath(u"still.png"_s);
        view.saveStill(still);
        QVERIFY(saved.wait(20000));
        QCOMPARE(RKTestClips::number(QImage(still)), 60);
        view.saveStill(dir.filePath(u"missing/still.png"_s));
        view.saveStill(dir.filePath(u"still.mp4"_s));
        QTRY_COMPARE_WITH_TIMEOUT(failed.size(), 2, 20000);

        view.open(path); // closes the one before
        view.close();
        QTest::qWait(200);
        QCOMPARE(view.shownFrame(), -1);
    }
};

QTEST_MAIN(VideoViewTest)

#include "VideoViewTest.moc"
