#pragma once

class QThreadPool;

/// The threads that read metadata and folders: QtConcurrent::run(backgroundThreads(), ...). The
/// global pool is Qt's for painting, and its work would wait for files. The application waits for
/// them when it ends. For the window's thread.
QThreadPool* backgroundThreads();
