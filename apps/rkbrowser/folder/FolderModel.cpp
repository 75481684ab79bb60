#include "folder/FolderModel.h"

#include "Background.h"

#include <QDir>
#include <QLocale>
#include <QMimeData>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

FolderModel::FolderModel()
{
    m_reader.setMaxThreadCount(1);
    m_copier.setMaxThreadCount(1);
    m_relisting.setSingleShot(true);
    m_relisting.setInterval(300ms);
    m_rearranging.setSingleShot(true);
    m_rearranging.setInterval(250ms);
    const auto relist = [this] { m_relisting.start(); };
    connect(&m_changes, &QFileSystemWatcher::directoryChanged, this, relist);
    connect(&m_changes, &QFileSystemWatcher::fileChanged, this, relist);
    connect(&m_relisting, &QTimer::timeout, this, &FolderModel::refresh);
    connect(&m_rearranging, &QTimer::timeout, this, &FolderModel::arrange);
    connect(&m_listing, &QFutureWatcherBase::finished, this, [this] {
        if (m_listing.future().resultCount() > 0)
            take(m_listing.result());
    });
    connect(&m_reading, &QFutureWatcherBase::resultReadyAt, this, [this](int index) {
        FolderEntry& entry = m_now.entries[m_unread[index]];
        const FolderEntry read = m_reading.resultAt(index);
        if (entry.version == read.version)
            entry = read;
        if (!m_rearranging.isActive())
            m_rearranging.start();
    });
    connect(&m_arranging, &QFutureWatcherBase::finished, this, [this] {
        if (m_arranging.future().resultCount() == 0 || m_arranging.result() == m_now.rows)
            return;
        beginResetModel();
        m_now.rows = m_arranging.result();
        endResetModel();
    });
    connect(
        &m_copying, &QFutureWatcherBase::progressValueChanged, this, &FolderModel::reportProgress);
    connect(&m_copying, &QFutureWatcherBase::finished, this, [this] {
        QStringList failures = m_copying.future().results();
        failures.removeAll(QString());
        if (!failures.isEmpty())
            Q_EMIT copyFailed(failures);
        refresh();
    });
}

FolderModel::~FolderModel()
{
    m_reading.cancel();
    m_copying.cancel();
}

void FolderModel::open(const QString& folder)
{
    if (folder == m_folder)
        return;
    m_folder = folder;
    take({{}, m_order, {}, tr("Reading…")});
    watch({});
    Q_EMIT folderChanged(folder);
    refresh();
}

QString FolderModel::folder() const
{
    return m_folder;
}

void FolderModel::refresh()
{
    m_listing.setFuture(QtConcurrent::run(
        backgroundThreads(), FolderReading::list, m_folder, m_now.entries, m_order));
    reportProgress();
}

QString FolderModel::failure() const
{
    if (m_now.failure.isEmpty() && rowCount() == 0)
        return fileCount() > 0 ? tr("No file passes the filters.")
                               : tr("No pictures or videos here.");
    return m_now.failure;
}

void FolderModel::setOrder(const FolderOrder& order)
{
    m_order = order;
    arrange();
}

const FolderOrder& FolderModel::order() const
{
    return m_order;
}

const FolderEntry& FolderModel::entry(int row) const
{
    return m_now.entries[m_now.rows.places[row]];
}

MediaFile FolderModel::file(int row) const
{
    return {QDir(m_folder).filePath(entry(row).name), entry(row).version};
}

int FolderModel::rowOf(const QString& fileName) const
{
    const QList<qsizetype>& places = m_now.rows.places;
    const auto found = std::find_if(places.begin(), places.end(), [&](qsizetype place) {
        return m_now.entries[place].name == fileName;
    });
    return found != places.end() ? static_cast<int>(found - places.begin()) : -1;
}

int FolderModel::fileCount() const
{
    return static_cast<int>(m_now.entries.size());
}

const QStringList& FolderModel::people() const
{
    return m_now.rows.people;
}

void FolderModel::look(const QString& filePath)
{
    const QFileInfo file(filePath);
    const int row = rowOf(file.fileName());
    FolderEntry changed = FolderReading::entryOf(file);
    if (file.absolutePath() != m_folder || row < 0 || changed.name.isEmpty())
        return;
    // Shown as it was until it has been read, so that nothing jumps.
    FolderEntry& now = m_now.entries[m_now.rows.places[row]];
    changed.taken = now.taken;
    changed.rating = now.rating;
    changed.people = now.people;
    now = changed;
    Q_EMIT dataChanged(index(row), index(row));
    readOn();
}

void FolderModel::watch(const QString& filePath)
{
    const QStringList watched = m_changes.files() + m_changes.directories();
    if (!watched.isEmpty())
        m_changes.removePaths(watched);
    // What isn't there can't be watched, and Qt would warn.
    for (const QString& path : {m_folder, filePath}) {
        if (QFileInfo::exists(path))
            m_changes.addPath(path);
    }
}

void FolderModel::copyHere(const QList<QUrl>& files)
{
    if (m_folder.isEmpty() || m_copying.isRunning())
        return;
    const auto copy
        = [folder = m_folder](const QUrl& file) { return FolderReading::copyInto(folder, file); };
    m_copying.setFuture(QtConcurrent::mapped(&m_copier, files, copy));
    reportProgress();
}

int FolderModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_now.rows.places.size());
}

QVariant FolderModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const FolderEntry& file = entry(index.row());
    const QLocale locale;
    switch (role) {
    case Qt::DisplayRole:
        return QString((file.format.isVideo() ? u"▶ "_s : QString()) + file.name.simplified()
            + u'\n' + QString(file.rating, u'★'));
    case Qt::ToolTipRole:
        return QString(QStringList{file.name,
                           locale.toString(file.date(), QLocale::ShortFormat),
                           locale.formattedDataSize(file.bytes)}
                           .join(u'\n')
            + u'\n' + file.people.join(u'\n'))
            .trimmed();
    default: return {};
    }
}

Qt::ItemFlags FolderModel::flags(const QModelIndex& index) const
{
    // What is dropped onto a file goes into the folder, too.
    return QAbstractListModel::flags(index) | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled;
}

QStringList FolderModel::mimeTypes() const
{
    return {u"text/uri-list"_s};
}

QMimeData* FolderModel::mimeData(const QModelIndexList& indexes) const
{
    QList<QUrl> urls;
    for (const QModelIndex& index : indexes)
        urls << QUrl::fromLocalFile(file(index.row()).path);
    auto* data = new QMimeData;
    data->setUrls(urls);
    return data;
}

bool FolderModel::dropMimeData(const QMimeData* data,
    Qt::DropAction /*action*/,
    int /*row*/,
    int /*column*/,
    const QModelIndex& /*parent*/)
{
    copyHere(data->urls());
    return true;
}

void FolderModel::take(const FolderReading::Listing& listing)
{
    const auto isSame
        = [](const FolderEntry& a, const FolderEntry& b) { return a.version == b.version; };
    const bool hasChanged = listing.rows != m_now.rows || listing.failure != m_now.failure
        || !std::equal(listing.entries.begin(),
            listing.entries.end(),
            m_now.entries.cbegin(),
            m_now.entries.cend(),
            isSame);
    if (hasChanged) {
        // What are under way are places in the old list.
        m_reading.cancel();
        m_reading.setFuture({});
        m_arranging.setFuture({});
        beginResetModel();
        m_now = listing;
        endResetModel();
        readOn();
    }
    if (listing.order != m_order)
        arrange();
    reportProgress();
}

void FolderModel::readOn()
{
    m_unread.clear();
    const QList<FolderEntry> entries = m_now.entries;
    for (qsizetype place = 0; place < entries.size(); ++place) {
        if (!entries[place].isRead)
            m_unread << place;
    }
    m_reading.cancel();
    const auto read = [folder = m_folder, entries](
                          qsizetype place) { return FolderReading::read(folder, entries[place]); };
    m_reading.setFuture(QtConcurrent::mapped(&m_reader, m_unread, read));
    reportProgress();
}

void FolderModel::arrange()
{
    m_arranging.setFuture(QtConcurrent::run(backgroundThreads(), arranged, m_now.entries, m_order));
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0), index(rowCount() - 1));
    reportProgress();
}

void FolderModel::reportProgress()
{
    const auto report = [this](const QFutureWatcherBase& work) {
        Q_EMIT progressed(work.progressValue(), std::max(1, work.progressMaximum()));
    };
    if (m_copying.isRunning())
        report(m_copying);
    else if (m_listing.isRunning())
        Q_EMIT progressed(0, 0);
    else if (m_reading.isRunning())
        report(m_reading);
    else
        Q_EMIT progressed(1, 1);
}
