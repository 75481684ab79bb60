#include "KeyPage.h"

#include <QAction>
#include <QDialog>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace {

QString rowsOf(const QList<QAction*>& actions)
{
    QString rows;
    for (const QAction* action : actions) {
        const QString keys
            = QKeySequence::listToString(action->shortcuts(), QKeySequence::NativeText);
        if (!keys.isEmpty())
            rows += QStringLiteral("<tr><td width=\"60%\">%1</td><td><b>%2</b></td></tr>")
                        .arg(action->text().remove(u'&').toHtmlEscaped(), keys.toHtmlEscaped());
    }
    return rows;
}

QString section(const QString& title, const QString& rows)
{
    return rows.isEmpty() ? QString()
                          : QStringLiteral("<h3>%1</h3><table width=\"100%\" cellpadding=\"2\">%2"
                                           "</table>")
                                .arg(title.toHtmlEscaped(), rows);
}

} // namespace

void showKeyPage(QMainWindow* window)
{
    QString text;
    const QList<QAction*> menus = window->menuBar()->actions();
    for (const QAction* menu : menus)
        text += section(menu->text().remove(u'&'), rowsOf(menu->menu()->actions()));
    // Widgets with keys of their own.
    const QList<QWidget*> widgets = window->centralWidget()->findChildren<QWidget*>();
    for (const QWidget* widget : widgets)
        text += section(widget->accessibleName(), rowsOf(widget->actions()));

    QDialog page(window);
    page.setWindowTitle(QMainWindow::tr("Keys"));
    page.resize(480, 640);
    auto* browser = new QTextBrowser(&page);
    browser->setHtml(text);
    (new QVBoxLayout(&page))->addWidget(browser);
    page.exec();
}
