#pragma once

#include <QMainWindow>

/// The window of the program.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    MainWindow();
};
