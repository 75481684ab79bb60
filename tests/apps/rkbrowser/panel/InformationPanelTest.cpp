#include "panel/InformationPanel.h"

#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoaderAsync/RKMetaDataHistory.h"
#include "support/RKTestPictures.h"

#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using Field = RKMetaDataFieldEnum;

class InformationPanelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        RKImageLoaderConfig::useDefaults();
    }

    void linesAreWrittenWhenTheyAreLeft()
    {
        QVERIFY(start());
        const QString path = makePicture(u"a.jpg"_s);
        const QString other = makePicture(u"b.jpg"_s);
        const QByteArray old = RKTestPictures::read(other);
        QVERIFY(showFile(path));
        type(u"Title"_s, u"Harbour"_s);
        QTest::keyClick(line(u"Title"_s), Qt::Key_Return);
        type(u"Position"_s, u"33.5 S, 151.25 E"_s);
        type(u"Taken"_s, u"2021-07-04 12:30 +02:00"_s);
        type(u"Add a keyword"_s, u"sea, ship"_s);
        type(u"Description"_s, u"two ships"_s);
        type(u"Author"_s, u"Anna"_s);
        QVERIFY(showFile(other)); // while the line is edited
        QVERIFY(waitForHistory());
        const RKMetaData written{QFileInfo(path)};
        QCOMPARE(written.read(Field::originalFilename), u"Harbour"_s);
        QCOMPARE(written.read(Field::exifImageDescription), u"two ships"_s);
        QCOMPARE(written.read(Field::author), u"Anna"_s);
        QCOMPARE(written.geoPosition(), RKGeoPosition(-33.5, 151.25));
        QCOMPARE(written.keywords(), QStringList({u"sea"_s, u"ship"_s}));
        QCOMPARE(
            written.pictureTaken(), QDateTime({2021, 7, 4}, {12, 30}, Qt::OffsetFromUTC, 2 * 3600));
        QCOMPARE(RKTestPictures::read(other), old);

        QVERIFY(showFile(path));
        QCOMPARE(line(u"Taken"_s)->text(), u"2021-07-04 12:30:00 +02:00"_s);
        line(u"Taken"_s)->selectAll();
        QTest::keyClick(line(u"Taken"_s), Qt::Key_Delete);
        QTest::keyClick(line(u"Taken"_s), Qt::Key_Return);
        Q_EMIT widget<QLabel>(u"Keywords"_s)->linkActivated(u"0"_s);
        Q_EMIT widget<QLabel>(u"Rating"_s)->linkActivated(u"4"_s);
        QVERIFY(waitForHistory());
        QCOMPARE(RKMetaData(QFileInfo(path)).keywords(), QStringList(u"ship"_s));
        QCOMPARE(RKMetaData(QFileInfo(path)).adobeRating(), 4);
        QVERIFY(!RKMetaData(QFileInfo(path)).pictureTaken().isValid());
    }

    void textsThatCanNotBeMeantAreNotWritten()
    {
        QVERIFY(start());
        const QString path = makePicture(u"a.jpg"_s);
        const QByteArray old = RKTestPictures::read(path);
        QVERIFY(showFile(path));
        for (const auto& [name, text] :
            {std::pair(u"Taken"_s, u"2021-02-30 12:30"_s), std::pair(u"Position"_s, u"95, 2"_s)})
        {
            type(name, text);
            QTest::keyClick(line(name), Qt::Key_Return);
            QVERIFY(hasLabel(u"Not saved: "_s + name));
            QCOMPARE(line(name)->text(), text);
        }
        m_panel->hide();
        QVERIFY(waitForHistory());
        QCOMPARE(RKTestPictures::read(path), old);
    }

    void changeOnDiskIsShownAndNotOverwritten()
    {
        QVERIFY(start());
        const QString path = makePicture(u"a.jpg"_s);
        QVERIFY(showFile(path));
        type(u"Title"_s, u"mine"_s);
        RKMetaData metaData{QFileInfo(path)};
        metaData.write(Field::author, u"others"_s);
        metaData.write(Field::originalFilename, u"other title"_s);
        QVERIFY(metaData.save(QFileInfo(path)));
        QVERIFY(showFile(path));
        QTRY_COMPARE_WITH_TIMEOUT(line(u"Author"_s)->text(), u"others"_s, 10000);
        QCOMPARE(line(u"Title"_s)->text(), u"mine"_s);

        QSignalSpy failed(m_history.data(), &RKMetaDataHistory::failed);
        QTest::keyClick(line(u"Title"_s), Qt::Key_Return);
        QVERIFY(waitForHistory());
        QCOMPARE(failed.size(), 1);
        QCOMPARE(RKMetaData(QFileInfo(path)).read(Field::originalFilename), u"other title"_s);
        QCOMPARE(line(u"Title"_s)->text(), u"other title"_s);
        QVERIFY(hasLabel(u"Not saved"_s));
    }

private:
    bool start()
    {
        m_dir.reset(new QTemporaryDir);
        m_panel.reset();
        m_history.reset(new RKMetaDataHistory);
        m_panel.reset(new InformationPanel(m_history.data()));
        m_panel->show();
        m_panel->activateWindow();
        return QTest::qWaitForWindowActive(m_panel.data());
    }

    QString makePicture(const QString& name)
    {
        const QString path = m_dir->filePath(name);
        RKTestPictures::write(
            path, RKTestPictures::encoded(RKTestPictures::quadrants({48, 32}), "JPEG"));
        return path;
    }

    /// As it is now.
    bool showFile(const QString& path)
    {
        line(u"Copyright"_s)->setText(u"not read yet"_s);
        m_panel->showFile({path, ++m_version});
        return QTest::qWaitFor(
            [this] { return line(u"Copyright"_s)->text() != u"not read yet"_s; }, 10000);
    }

    bool waitForHistory()
    {
        return QTest::qWaitFor([this] { return !m_history->isWriting(); }, 20000);
    }

    template <typename Widget>
    Widget* widget(const QString& name)
    {
        const auto widgets = m_panel->findChildren<Widget*>();
        const auto found = std::find_if(widgets.begin(),
            widgets.end(),
            [&name](const QWidget* one) { return one->accessibleName() == name; });
        return *found;
    }

    QLineEdit* line(const QString& name)
    {
        return widget<QLineEdit>(name);
    }

    void type(const QString& name, const QString& text)
    {
        line(name)->setFocus();
        QTest::keyClicks(line(name), text);
    }

    bool hasLabel(const QString& start)
    {
        const auto labels = m_panel->findChildren<QLabel*>();
        return std::any_of(labels.begin(), labels.end(), [&start](const QLabel* label) {
            return label->isVisible() && label->wordWrap() && label->text().startsWith(start);
        });
    }

    quint64 m_version = 0;
    QScopedPointer<QTemporaryDir> m_dir;
    QScopedPointer<RKMetaDataHistory> m_history;
    QScopedPointer<InformationPanel> m_panel;
};

QTEST_MAIN(InformationPanelTest)

#include "InformationPanelTest.moc"
