#include "folder/FolderModel.h"

#include "BackgroundThreads.h"

#include <QDir>
#include <QMimeData>
#include <QtConcurrent>

#include <algorithm>

namespace {

constexpr int kRelistingDelay = 300;
constexpr int kRearrangingDelay = 500;

} // namespace

FolderModel::FolderModel(QObject* parent)
    : QAbstractListModel(parent)
{
    m_relisting.setSingleShot(true);
    m_relisting.setInterval(kRelistingDelay);
    m_rearranging.setSingleShot(true);
    m_rearranging.setInterval(kRearrangingDelay);
    connect(&m_changes,
        &QFileSystemWatcher::directoryChanged,
        &m_relisting,
        qOverload<>(&QTimer::start));
    connect(&m_relisting, &QTimer::timeout, this, &FolderModel::refresh);
    connect(&m_rearranging, &QTimer::timeout, this, &FolderModel::arrange);
    connect(&m_listing, &QFutureWatcherBase::finished, this, &FolderModel::listed);
    connect(&m_reading, &QFutureWatcherBase::resultReadyAt, this, &FolderModel::batchRead);
    connect(&m_arranging, &QFutureWatcherBase::finished, this, &FolderModel::arrangedRows);
    connect(
        &m_copying, &QFutureWatcherBase::progressValueChanged, this, &FolderModel::reportProgress);
    connect(&m_copying, &QFutureWatcherBase::finished, this, [this] {
        const QStringList failures
            = m_copying.future().resultCount() > 0 ? m_copying.result() : QStringList();
        if (!failures.isEmpty())
            Q_EMIT copyFailed(failures);
        refresh();
        reportProgress();
    });
}

FolderModel::~FolderModel()
{
    stop();
}

void FolderModel::open(const QString& folder)
{
    if (folder == m_folder)
        return;
    if (!m_changes.directories().isEmpty())
        m_changes.removePaths(m_changes.directories());
    m_folder = folder;
    replace({});
    // A folder that isn't there can't be watched, and Qt would warn.
    if (QFileInfo(folder).isDir())
        m_changes.addPath(folder);
    Q_EMIT folderChanged(folder);
    refresh();
}

QString FolderModel::folder() const
{
    return m_folder;
}

void FolderModel::stop()
{
    m_reading.cancel();
    m_copying.cancel();
}

void FolderModel::refresh()
{
    if (m_folder.isEmpty())
        return;
    m_listing.setFuture(
        QtConcurrent::run(backgroundThreads(), FolderReading::list, m_folder, m_entries, m_order));
    reportProgress();
}

void FolderModel::setOrder(const FolderOrder& order)
{
    if (order == m_order)
        return;
    m_order = order;
    arrange();
}

const FolderOrder& FolderModel::order() const
{
    return m_order;
}

const FolderEntry& FolderModel::entry(int row) const
{
    return m_entries[m_rows.places[row]];
}

QString FolderModel::filePath(int row) const
{
    return QDir(m_folder).filePath(entry(row).name);
}

int FolderModel::rowOf(const QString& fileName) const
{
    return m_rows.rowsByName.value(fileName, -1);
}

int FolderModel::fileCount() const
{
    return static_cast<int>(m_entries.size());
}

const QStringList& FolderModel::people() const
{
    return m_rows.people;
}

void FolderModel::look(const QString& filePath)
{
    const QFileInfo file(filePath);
    const int row = rowOf(file.fileName());
    if (file.absolutePath() != m_folder || row < 0)
        return;
    FolderEntry changed = FolderReading::look(filePath);
    if (changed.name.isEmpty() || changed.isSameFile(entry(row)))
        return;
    // Shown as it was until it has been read, so that nothing jumps.
    changed.taken = entry(row).taken;
    changed.rating = entry(row).rating;
    changed.people = entry(row).people;
    m_entries[m_rows.places[row]] = changed;
    Q_EMIT dataChanged(index(row), index(row));
    readOn();
}

void FolderModel::copyHere(const QList<QUrl>& files)
{
    if (m_folder.isEmpty() || m_copying.isRunning())
        return;
    m_copying.setFuture(
        QtConcurrent::run(backgroundThreads(), FolderReading::copyInto, m_folder, files));
    reportProgress();
}

int FolderModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.places.size());
}

QVariant FolderModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const FolderEntry& file = entry(index.row());
    switch (role) {
    case Qt::DisplayRole: return file.name;
    case Qt::AccessibleTextRole: return QString(file.name + QString(file.rating, u'★'));
    default: return {};
    }
}

Qt::ItemFlags FolderModel::flags(const QModelIndex& index) const
{
    // Files are dropped into the folder, not onto one of its files.
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled
            | Qt::ItemNeverHasChildren
                           : Qt::ItemIsDropEnabled;
}

QStringList FolderModel::mimeTypes() const
{
    return {QStringLiteral("text/uri-list")};
}

QMimeData* FolderModel::mimeData(const QModelIndexList& indexes) const
{
    QList<QUrl> urls;
    for (const QModelIndex& index : indexes)
        urls << QUrl::fromLocalFile(filePath(index.row()));
    auto* data = new QMimeData;
    data->setUrls(urls);
    return data;
}

Qt::DropActions FolderModel::supportedDropActions() const
{
    return Qt::CopyAction;
}

bool FolderModel::canDropMimeData(
    const QMimeData* data, Qt::DropAction, int, int, const QModelIndex&) const
{
    const QList<QUrl> urls = data->urls();
    return std::any_of(urls.begin(), urls.end(), [this](const QUrl& url) {
        return url.isLocalFile() && QFileInfo(url.toLocalFile()).absolutePath() != m_folder;
    });
}

bool FolderModel::dropMimeData(
    const QMimeData* data, Qt::DropAction action, int row, int column, const QModelIndex& parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    copyHere(data->urls());
    return true;
}

void FolderModel::listed()
{
    if (m_listing.future().resultCount() == 0)
        return;
    const FolderReading::Listing listing = m_listing.result();
    replace(listing);
    Q_EMIT failed(listing.failure);
    if (listing.order != m_order)
        arrange();
    readOn();
}

void FolderModel::replace(const FolderReading::Listing& listing)
{
    // What is under way are places in the old list.
    m_reading.cancel();
    m_reading.setFuture({});
    m_arranging.setFuture({});
    beginResetModel();
    m_entries = listing.entries;
    m_rows = listing.rows;
    endResetModel();
}

void FolderModel::readOn()
{
    m_readCount = std::count_if(
        m_entries.begin(), m_entries.end(), [](const FolderEntry& entry) { return entry.isRead; });
    m_reading.cancel();
    m_reading.setFuture(
        QtConcurrent::run(backgroundThreads(), FolderReading::readAll, m_folder, m_entries));
    reportProgress();
}

void FolderModel::batchRead(int index)
{
    const FolderReading::Batch batch = m_reading.resultAt(index);
    for (const auto& [place, entry] : batch) {
        if (m_entries[place].isSameFile(entry))
            m_entries[place] = entry;
    }
    m_readCount += batch.size();
    if (rowCount() > 0)
        Q_EMIT dataChanged(this->index(0), this->index(rowCount() - 1));
    if (!m_rearranging.isActive())
        m_rearranging.start();
    reportProgress();
}

void FolderModel::arrange()
{
    m_arranging.setFuture(QtConcurrent::run(backgroundThreads(), arranged, m_entries, m_order));
}

void FolderModel::arrangedRows()
{
    if (m_arranging.future().resultCount() == 0)
        return;
    FolderRows rows = m_arranging.result();
    if (rows.places == m_rows.places && rows.people == m_rows.people)
        return;
    beginResetModel();
    m_rows = std::move(rows);
    endResetModel();
}

void FolderModel::reportProgress()
{
    if (m_copying.isRunning())
        Q_EMIT progressed(m_copying.progressValue(), std::max(1, m_copying.progressMaximum()));
    else if (m_listing.isRunning())
        Q_EMIT progressed(0, 0);
    else
        Q_EMIT progressed(static_cast<int>(m_readCount), fileCount());
}
