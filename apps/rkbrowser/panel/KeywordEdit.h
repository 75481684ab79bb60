#pragma once

#include <QStringList>
#include <QWidget>

class QLineEdit;
class QListWidget;

/// Keywords as chips, with a line for new ones. Each change is reported at once.
class KeywordEdit : public QWidget
{
    Q_OBJECT

public:
    explicit KeywordEdit(QWidget* parent = nullptr);

    QStringList keywords() const;
    void setKeywords(const QStringList& keywords);
    /// Takes what is still in the line.
    void commit();

Q_SIGNALS:
    /// By the user.
    void changed(const QStringList& removed, const QStringList& added);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void append(const QString& keyword);
    void removeRow(int row);
    void fitHeight();

    QListWidget* m_chips;
    QLineEdit* m_line;
};
