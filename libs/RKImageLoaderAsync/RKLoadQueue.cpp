#include "RKImageLoaderAsync/RKLoadQueue_p.h"

#include <algorithm>
#include <functional>

qsizetype RKLoadQueue::size() const
{
    return qsizetype(m_waiting.size());
}

RKLoadQueue::Job RKLoadQueue::find(const RKLoadRequest& request) const
{
    const auto place = m_places.constFind(request);
    return place == m_places.cend() ? nullptr : m_waiting.at(*place).job;
}

void RKLoadQueue::insert(const Job& job, RKLoadPriority priority)
{
    putBack({job, {priority, ++m_newest}, {}});
}

void RKLoadQueue::renew(const RKLoadRequest& request, RKLoadPriority priority)
{
    const Place place = m_places.value(request);
    move(place, {std::max(place.first, priority), ++m_newest});
}

std::optional<RKLoadQueue::Entry> RKLoadQueue::takeFirst()
{
    if (m_waiting.empty())
        return {};
    const auto first = m_waiting.begin();
    Entry entry{first->second.job, first->first, first->second.bytes};
    m_places.remove(entry.job->request());
    m_waiting.erase(first);
    return entry;
}

void RKLoadQueue::putBack(const Entry& entry)
{
    m_waiting.insert_or_assign(entry.place, Waiting{entry.job, entry.bytes});
    m_places.insert(entry.job->request(), entry.place);
}

std::vector<RKLoadQueue::Job> RKLoadQueue::takeAll()
{
    std::vector<Job> jobs;
    for (const auto& [place, waiting] : std::exchange(m_waiting, {}))
        jobs.push_back(waiting.job);
    m_places.clear();
    return jobs;
}

std::vector<RKLoadQueue::Job> RKLoadQueue::takeUnwanted()
{
    std::vector<Job> jobs;
    std::erase_if(m_waiting, [&](const auto& entry) {
        const Job& job = entry.second.job;
        if (!job->isUnwanted())
            return false;
        m_places.remove(job->request());
        jobs.push_back(job);
        return true;
    });
    return jobs;
}

void RKLoadQueue::setVisible(const QList<RKMediaDescriptor>& visible)
{
    QHash<std::pair<QString, int>, qsizetype> ranks;
    for (qsizetype i = visible.size() - 1; i >= 0; --i)
        ranks.insert({visible[i].absoluteFilePath(), visible[i].frameIndex().frame()}, i);

    std::vector<Place> hidden;
    std::vector<std::pair<qsizetype, Place>> shown;
    for (const auto& [place, waiting] : m_waiting) {
        const RKLoadRequest& request = waiting.job->request();
        const auto rank = ranks.constFind({request.path, request.frame});
        if (rank != ranks.cend())
            shown.emplace_back(*rank, place);
        else if (place.first == RKLoadPriority::Visible)
            hidden.push_back(place);
    }
    for (const Place& place : hidden)
        move(place, {RKLoadPriority::Nearby, place.second});
    // The first one is to be the newest.
    std::sort(shown.begin(), shown.end(), std::greater<>());
    for (const auto& [rank, place] : shown)
        move(place, {RKLoadPriority::Visible, ++m_newest});
}

void RKLoadQueue::setPriority(const RKMediaDescriptor& descriptor, RKLoadPriority priority)
{
    const QString path = descriptor.absoluteFilePath();
    const int frame = descriptor.frameIndex().frame();
    std::vector<Place> places;
    for (const auto& [place, waiting] : m_waiting) {
        const RKLoadRequest& request = waiting.job->request();
        if (request.frame == frame && request.path == path)
            places.push_back(place);
    }
    for (const Place& place : places)
        move(place, {priority, ++m_newest});
}

void RKLoadQueue::move(Place from, Place to)
{
    auto node = m_waiting.extract(from);
    node.key() = to;
    m_places.insert(node.mapped().job->request(), to);
    m_waiting.insert(std::move(node));
}
