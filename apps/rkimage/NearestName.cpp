#include "NearestName.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

namespace {

/// How many letters have to be added, removed or replaced (V. Levenshtein, 1966).
qsizetype editDistance(const QString& from, const QString& to)
{
    std::vector<qsizetype> row(size_t(to.size()) + 1);
    std::iota(row.begin(), row.end(), qsizetype(0));
    for (qsizetype i = 0; i < from.size(); ++i) {
        qsizetype diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j + 1 < row.size(); ++j) {
            const qsizetype replaced = diagonal + (from[i] == to[qsizetype(j)] ? 0 : 1);
            const qsizetype best = std::min({replaced, row[j] + 1, row[j + 1] + 1});
            diagonal = std::exchange(row[j + 1], best);
        }
    }
    return row.back();
}

} // namespace

QString nearestName(const QString& word, const QStringList& names)
{
    QString nearest;
    qsizetype distance = std::numeric_limits<qsizetype>::max();
    for (const QString& name : names) {
        const qsizetype other = editDistance(word, name);
        if (other < distance) {
            distance = other;
            nearest = name;
        }
    }
    return nearest;
}
