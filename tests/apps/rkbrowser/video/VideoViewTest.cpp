#include "video/VideoView.h"

#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "support/RKTestClips.h"

#include <QAction>
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
        view.open({path, 1});
        QTRY_VERIFY_WITH_TIMEOUT(view.shownFrame() >= 0, 20000);
        const auto press = [&view](const QKeySequence& keys) {
            const QList<QAction*> actions = view.actions();
            for (QAction* action : actions) {
                if (action->shortcut() == keys)
                    action->trigger();
            }
        };
        press(Qt::Key_Home);
        press(Qt::SHIFT | Qt::Key_Right); // 25 or 30 frames
        press(Qt::Key_Left);
        QTRY_VERIFY_WITH_TIMEOUT(view.shownFrame() == 24 || view.shownFrame() == 29, 20000);
        press(Qt::Key_End);
        press(Qt::Key_Right);
        QTRY_COMPARE_WITH_TIMEOUT(view.shownFrame(), 89, 20000);

        QSignalSpy changed(view.findChild<PictureView*>(), &PictureView::changed);
        for (int frame = 0; frame <= 60; ++frame)
            view.showFrame(frame);
        QTRY_COMPARE_WITH_TIMEOUT(view.shownFrame(), 60, 20000);
        QVERIFY(changed.size() <= 8); // of the one under way, and of the last

        QSignalSpy failed(&view, &VideoView::failed);
        const QString still = dir.filePath(u"still.png"_s);
        view.saveStill(still);
        QTRY_VERIFY_WITH_TIMEOUT(!QImage(still).isNull(), 20000);
        QCOMPARE(RKTestClips::number(QImage(still)), 60);
        view.saveStill(dir.filePath(u"missing/still.png"_s));
        view.saveStill(dir.filePath(u"still.mp4"_s));
        QTRY_COMPARE_WITH_TIMEOUT(failed.size(), 2, 20000);

        view.open({path, 2}); // closes the one before
        view.open({});
        QTest::qWait(200);
        QCOMPARE(view.shownFrame(), -1);
    }
};

QTEST_MAIN(VideoViewTest)

#include "VideoViewTest.moc"
