#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QByteArrayView>
#include <QList>

#include <optional>

/// The data sets of an IPTC block as bytes, so that some can be changed while all others stay as
/// they are (IPTC-NAA Information Interchange Model 4.2, 1.5 and 1.6).
///
/// Bytes between and after the data sets are kept, and so is a damaged end. Reentrant.
class RKIptcEditor
{
public:
    struct DataSet
    {
        quint8 record = 0;
        quint8 number = 0;
        QByteArray value;

        bool operator==(const DataSet& other) const
        {
            return record == other.record && number == other.number && value == other.value;
        }
    };

    /// The new values of all data sets with a number; none to remove them.
    struct Change
    {
        quint8 record = 0;
        quint8 number = 0;
        QByteArrayList values;
    };

    explicit RKIptcEditor(const QByteArray& bytes);

    /// In the order of the file.
    QList<DataSet> dataSets() const;

    /// One block with the data sets that count among those of several in a file: for each number
    /// those of the first block that has it. A single block is returned as it is.
    static QByteArray joined(const QByteArrayList& blocks);

    /// The block with the changes. New values take the place of the first data set with their
    /// number, or stand before the first one with a higher number. Empty if no data set is left;
    /// nullopt for a value of more than 4 GiB.
    std::optional<QByteArray> changed(const QList<Change>& changes) const;

private:
    /// One data set, or bytes that are not a data set.
    struct Piece
    {
        // Record and number as one, so that their order is that of the standard.
        int id = 0;
        qsizetype headerSize = 0;
        QByteArrayView bytes;
    };

    QByteArray m_bytes;
    QList<Piece> m_pieces;
};
