#include "KeyPage.h"

#include <QAction>
#include <QDialog>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QTextBrowser>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QString section(const QString& title, const QList<QAction*>& actions)
{
    QString rows;
    for (const QAction* action : actions) {
        const QString keys
            = QKeySequence::listToString(action->shortcuts(), QKeySequence::NativeText);
        if (!keys.isEmpty())
            rows += u"<tr><td width=\"60%\">%1</td><td><b>%2</b></td></tr>"_s.arg(
                action->text().remove(u'&').toHtmlEscaped(), keys.toHtmlEscaped());
    }
    return rows.isEmpty() ? QString()
                          : u"<h3>%1</h3><table width=\"100%\" cellpadding=\"2\">%2</table>"_s.arg(
                              title.toHtmlEscaped(), rows);
}

} // namespace

void showKeyPage(QMainWindow* window)
{
    QString text;
    const QList<QAction*> menus = window->menuBar()->actions();
    for (const QAction* menu : menus)
        text += section(menu->text().remove(u'&'), menu->menu()->actions());
    // Widgets with keys of their own.
    const QList<QWidget*> widgets = window->centralWidget()->findChildren<QWidget*>();
    for (const QWidget* widget : widgets)
        text += section(widget->accessibleName(), widget->actions());

    QDialog page(window);
    page.setWindowTitle(QMainWindow::tr("Keys"));
    page.resize(480, 640);
    auto* browser = new QTextBrowser(&page);
    browser->setHtml(text);
    (new QVBoxLayout(&page))->addWidget(browser);
    page.exec();
}
