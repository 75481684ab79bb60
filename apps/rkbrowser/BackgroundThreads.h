#pragma once

class QThreadPool;

/// The threads that read metadata and folders: QtConcurrent::run(backgroundThreads(), ...). The
/// global pool is Qt's for painting, and its work would wait for files. The program waits for them
/// when it ends.
QThreadPool* backgroundThreads();
