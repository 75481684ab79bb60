#include "MainWindow.h"

MainWindow::MainWindow()
{
    resize(1200, 800);
}
