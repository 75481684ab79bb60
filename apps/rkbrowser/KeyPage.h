#pragma once

class QMainWindow;

/// Shows all keys of a window, as its actions have them.
void showKeyPage(QMainWindow* window);
