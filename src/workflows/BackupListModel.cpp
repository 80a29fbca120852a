#include "workflows/BackupListModel.h"

#include "engine/FinderComment.h"

#include <QSet>
#include <QUrl>

#include <algorithm>

namespace corvina {

int BackupListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant BackupListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const BackupRow& row = m_rows[index.row()];
    switch (role) {
    case Qt::DisplayRole:
    case DateTextRole:
        return row.dateText;
    case FileUrlRole:
        return QUrl::fromLocalFile(row.filePath);
    case FilePathRole:
        return row.filePath;
    case FileNameRole:
        return row.fileName;
    case CommentRole:
    case Qt::ToolTipRole:
        return readFinderComment(row.filePath).value_or(QString());
    case HasCommentRole:
        return readFinderComment(row.filePath).has_value();
    default:
        return {};
    }
}

QHash<int, QByteArray> BackupListModel::roleNames() const {
    return {
        {FileUrlRole, "fileUrl"},   {FilePathRole, "filePath"}, {FileNameRole, "fileName"},
        {DateTextRole, "dateText"}, {CommentRole, "comment"},   {HasCommentRole, "hasComment"},
    };
}

bool BackupListModel::containsPath(const QString& filePath) const {
    return std::any_of(m_rows.cbegin(), m_rows.cend(),
                       [&](const BackupRow& row) { return row.filePath == filePath; });
}

void BackupListModel::setRows(const QList<BackupRow>& rows) {
    QSet<QString> newPaths;
    for (const BackupRow& row : rows) {
        newPaths.insert(row.filePath);
    }
    for (qsizetype i = m_rows.size() - 1; i >= 0; --i) {
        if (!newPaths.contains(m_rows[i].filePath)) {
            beginRemoveRows({}, int(i), int(i));
            m_rows.removeAt(i);
            endRemoveRows();
        }
    }
    // What is left is in the new order, so walking both lists inserts the rest.
    for (qsizetype i = 0; i < rows.size(); ++i) {
        if (i < m_rows.size() && m_rows[i].filePath == rows[i].filePath) {
            continue;
        }
        beginInsertRows({}, int(i), int(i));
        m_rows.insert(i, rows[i]);
        endInsertRows();
    }
}

void BackupListModel::refreshComments() {
    if (m_rows.isEmpty()) {
        return;
    }
    Q_EMIT dataChanged(index(0), index(int(m_rows.size()) - 1),
                       {CommentRole, HasCommentRole, Qt::ToolTipRole});
}

} // namespace corvina
