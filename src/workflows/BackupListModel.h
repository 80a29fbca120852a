#pragma once

#include "workflows/BackupListing.h"

#include <QAbstractListModel>

namespace corvina {

/// The rows of the restore list, newest first. A row's comment is read from
/// its file each time it is asked for, so an edited comment shows after
/// `refreshComments`.
class BackupListModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role {
        FileUrlRole = Qt::UserRole + 1,
        FilePathRole,
        FileNameRole,
        DateTextRole,
        /// The comment text, or an empty string when there is none.
        CommentRole,
        /// Whether the file has a comment; an empty comment reads as none.
        HasCommentRole,
    };
    Q_ENUM(Role)

    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    [[nodiscard]] const QList<BackupRow>& rows() const { return m_rows; }
    [[nodiscard]] bool containsPath(const QString& filePath) const;

    /// Takes the new rows, removing and inserting only what differs, so that
    /// a view keeps its place. Both lists are in the model's order.
    void setRows(const QList<BackupRow>& rows);

    /// Tells views to read every comment again.
    void refreshComments();

private:
    QList<BackupRow> m_rows;
};

} // namespace corvina
