#include "RKImageLoader/files/RKIptcEditor_p.h"
#include "support/RKQuietTest.h"

namespace {

/// A data set with a size of two bytes.
QByteArray set(int record, int number, const QByteArray& value)
{
    QByteArray bytes("\x1c\0\0\0\0", 5);
    bytes[1] = static_cast<char>(record);
    bytes[2] = static_cast<char>(number);
    bytes[3] = static_cast<char>(value.size() >> 8);
    bytes[4] = static_cast<char>(value.size());
    return bytes + value;
}

/// A data set of record 8 with a size of any number of bytes.
QByteArray extendedSet(const QByteArray& size, const QByteArray& value)
{
    QByteArray bytes("\x1c\x8\xa\x80\0", 5);
    bytes[4] = static_cast<char>(size.size());
    return bytes + size + value;
}

QByteArray changed(const QByteArray& block, const QList<RKIptcEditor::Change>& changes)
{
    return RKIptcEditor(block).changed(changes).value_or("not storable");
}

} // namespace

class RKIptcEditorTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void otherDataSetsKeepTheirBytesAndOrder()
    {
        // Out of order, an empty one, junk in between, padding at the end, one with a long size.
        const QByteArray title = set(2, 5, "title");
        const QByteArray empty = set(2, 40, "");
        const QByteArray time = set(2, 60, "131808");
        const QByteArray large = extendedSet(QByteArray("\0\0\2", 3), "ab");
        const QByteArray version = set(2, 0, QByteArray("\0\4", 2));
        const QByteArray padding(3, '\0');
        const auto block
            = [&](const QByteArray& keywords, const QByteArray& caption) -> QByteArray {
            return title + keywords + empty + "junk" + time + large + version + caption + padding;
        };
        const QByteArray old = block(set(2, 25, "a") + set(2, 25, "b"), {});

        QCOMPARE(RKIptcEditor(old).dataSets().size(), 7);
        QCOMPARE(RKIptcEditor(old).dataSets()[5], (RKIptcEditor::DataSet{8, 10, "ab"}));
        QCOMPARE(changed(old, {}), old);
        QCOMPARE(changed(old, {{2, 25, {"c"}}}), block(set(2, 25, "c"), {}));
        QCOMPARE(changed(old, {{2, 25, {}}}), block({}, {}));
        QCOMPARE(changed(old, {{9, 1, {"last"}}, {2, 25, {"x", "y", "z"}}}),
            block(set(2, 25, "x") + set(2, 25, "y") + set(2, 25, "z"), set(9, 1, "last")));
        // In front of everything with a higher number.
        QCOMPARE(changed(old, {{1, 90, {"\x1b%G"}}}), set(1, 90, "\x1b%G") + old);
        QCOMPARE(changed({}, {{2, 80, {"by"}}, {2, 5, {"t"}}}), set(2, 5, "t") + set(2, 80, "by"));
        QCOMPARE(changed(title + padding, {{2, 5, {}}}), QByteArray());
    }

    void changedGroupsAreCollectedAtTheirFirstPlace()
    {
        const QByteArray city = set(2, 90, "city");
        QCOMPARE(changed(set(2, 25, "a") + city + set(2, 25, "b"), {{2, 25, {"b", "c"}}}),
            set(2, 25, "b") + set(2, 25, "c") + city);
    }

    void theFirstBlockWithANumberCounts()
    {
        const QByteArray first = "junk" + set(2, 25, "a") + set(2, 25, "b");
        const QByteArray caption = set(2, 120, "caption");
        QCOMPARE(RKIptcEditor::joined({first}), first);
        QCOMPARE(RKIptcEditor::joined({"", first, set(2, 25, "c") + caption, set(2, 120, "other")}),
            first.mid(4) + caption);
        QCOMPARE(RKIptcEditor::joined({}), QByteArray());
    }

    void sizesUpToTheLimitOfTheShortForm()
    {
        for (const qsizetype size : {0x7fff, 0x8000}) {
            const QByteArray value(size, 'x');
            const QByteArray block = changed(set(2, 5, "t"), {{2, 120, {value}}});
            QCOMPARE(block.size(), 6 + 5 + (size > 0x7fff ? 4 : 0) + size);
            QCOMPARE(RKIptcEditor(block).dataSets()[1], (RKIptcEditor::DataSet{2, 120, value}));
        }
    }

    void damagedEndsAreKept()
    {
        const QByteArray title = set(2, 5, "title");
        for (const QByteArray& end : {QByteArray("\x1c\2"),
                 set(2, 90, "city").chopped(1),
                 // Sizes of five bytes and of 4 GiB.
                 extendedSet(QByteArray(5, '\0'), {}),
                 extendedSet(QByteArray(4, '\xff'), "abc"),
                 QByteArray("\x1c")})
        {
            QCOMPARE(RKIptcEditor(title + end).dataSets().size(), 1);
            QCOMPARE(changed(title + end, {{2, 5, {"t"}}, {2, 80, {"by"}}}),
                set(2, 5, "t") + set(2, 80, "by") + end);
        }
    }
};

QTEST_APPLESS_MAIN(RKIptcEditorTest)

#include "RKIptcEditorTest.moc"
