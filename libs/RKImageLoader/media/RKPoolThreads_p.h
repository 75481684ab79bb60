#pragma once

/// The threads of Qt's global pool, to which QImage hands parts of large pictures.
namespace RKPoolThreads {

/// Has the pool start its threads where the memory of the process is limited, while there is room
/// for them: QImage waits forever for a thread that could not be started. They stay for half a
/// minute after their last work, for which QThreadPool::expiryTimeout() is. False if there is no
/// room. Thread-safe.
bool areReady();

} // namespace RKPoolThreads
