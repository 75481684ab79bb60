#pragma once

#include "MediaFile.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "panel/FileFacts.h"

#include <QScrollArea>

#include <functional>
#include <vector>

class RKMetaDataHistory;
class QFormLayout;
class QLabel;
class QLineEdit;

/// Shows what is known of a file, and edits its metadata. An edit is written when Return is pressed
/// or its line is left.
class InformationPanel : public QScrollArea
{
    Q_OBJECT

public:
    /// The history has to live longer.
    explicit InformationPanel(RKMetaDataHistory* history);
    /// Writes what was edited.
    ~InformationPanel() override;

    /// Writes what was edited of another file before. An empty path shows nothing.
    void showFile(const MediaFile& file);

private:
    /// A line whose text is one of the file's data.
    struct Line
    {
        RKMediaCard::Item item;
        QLineEdit* edit;
        std::function<QString(const RKMetaData&)> read;
        /// False for a text that can't be meant.
        std::function<bool(RKMetaData&, const QString&)> write;
        /// What the line was filled from.
        RKMetaData shown = {};
    };

    void addKeywords(QFormLayout* form);
    void addText(QFormLayout* form, RKMediaCard::Item item, RKMetaDataFieldEnum field);
    QLineEdit* addLine(QFormLayout* form, RKMediaCard::Item item, const QString& hint);
    /// An editor says all of it.
    bool isEdited(RKMediaCard::Item item) const;
    void commit();
    void commitLine(Line& line);
    void commitKeywords();
    void changeKeywords(const QString& removed, const QStringList& added);
    void display();
    void showProblem(const QString& text);

    RKMetaDataHistory* const m_history;
    MediaFile m_file;
    FileFacts m_facts;
    std::vector<Line> m_lines;
    QWidget* m_editors;
    QLabel* m_name;
    QLabel* m_problem;
    QLabel* m_stars;
    QLabel* m_keywords;
    QLineEdit* m_newKeywords;
    QLabel* m_rows;
};
