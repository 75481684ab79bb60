#pragma once

#include "RKImageLoaderAsync/RKLoadJob_p.h"
#include "RKImageLoaderAsync/RKLoadPriority.h"

#include <QHash>
#include <QList>

#include <functional>
#include <map>
#include <optional>
#include <utility>
#include <vector>

/// The jobs that wait for a thread, in their order. One thread at a time may use a queue.
class RKLoadQueue
{
public:
    using Job = std::shared_ptr<RKLoadJob>;
    /// Greater ones come first.
    using Place = std::pair<RKLoadPriority, quint64>;

    struct Entry
    {
        Job job;
        Place place;
        /// What loading takes by an estimate, if that has been made.
        std::optional<qint64> bytes;
    };

    qsizetype size() const;
    /// Null if no job for that waits.
    Job find(const RKLoadRequest& request) const;
    /// As the newest of its priority. There must be none for the same request.
    void insert(const Job& job, RKLoadPriority priority);
    /// Makes a waiting job the newest of its priority, or of this one if that is higher.
    void renew(const RKLoadRequest& request, RKLoadPriority priority);
    std::optional<Entry> takeFirst();
    /// To the same place.
    void putBack(const Entry& entry);

    std::vector<Job> takeAll();
    std::vector<Job> takeUnwanted();

    /// See RKAsyncLoader.
    void setVisible(const QList<RKMediaDescriptor>& visible);
    void setPriority(const RKMediaDescriptor& descriptor, RKLoadPriority priority);

private:
    struct Waiting
    {
        Job job;
        std::optional<qint64> bytes;
    };

    using Waitings = std::map<Place, Waiting, std::greater<>>;

    void move(Place from, Place to);

    Waitings m_waiting;
    QHash<RKLoadRequest, Place> m_places;
    quint64 m_newest = 0;
};
