// Progress of the engine's operations, read from another thread as a window
// or the tool would: it only grows, never passes the total, ends exactly at
// it on success, and the total of a backup is the size of its archive.
#include "TestTrees.h"

#include "engine/EncryptionService.h"

#include <QTemporaryDir>
#include <QTest>

using namespace corvina;
using namespace corvina::testing;
using namespace Qt::StringLiterals;

namespace {

/// Reads `progress` until `future` is done; fails the test on a step back
/// or past the total. Returns the last reading.
template <typename T>
OperationProgress::Snapshot follow(const QFuture<T>& future, const OperationProgress& progress,
                                   bool& ok) {
    OperationProgress::Snapshot last;
    ok = true;
    for (bool finished = false; !finished;) {
        finished = future.isFinished();
        const OperationProgress::Snapshot now = progress.snapshot();
        ok = ok && now.done >= last.done && now.done <= now.total &&
             (last.total == 0 || now.total == last.total);
        last = now;
    }
    return last;
}

} // namespace

class ProgressGrowsToTheTotal : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void createRestoreAndVerifyEndAtTheTotal() {
        QTemporaryDir work;
        const QString source = work.filePath(u"source/Data"_s);
        // One file over many chunks of the cipher and the reader, and many
        // small entries in folders, with a link.
        QByteArray large(9 << 20, '\0');
        for (qsizetype i = 0; i < large.size(); ++i) {
            large[i] = char(i * 7 + i / 4093);
        }
        writeFile(source + u"/large.bin"_s, large);
        for (int i = 0; i < 300; ++i) {
            writeFile(source + u"/d%1/f%2.txt"_s.arg(i % 7).arg(i), QByteArray(i * 13, 'x'));
        }
        QFile::link(u"large.bin"_s, source + u"/link"_s);
        auto& engine = EncryptionService::shared();
        bool ok = false;

        auto creating = std::make_shared<OperationProgress>();
        const auto created = engine.createBackup(source, work.path(), u"pw"_s, {}, creating);
        const auto end = follow(created, *creating, ok);
        QVERIFY(ok && created.result().result.isSuccess());
        QVERIFY(openssl(true, created.result().backupFile, work.filePath(u"plain.zip"_s), u"pw"_s));
        QCOMPARE(end.total, quint64(QFileInfo(work.filePath(u"plain.zip"_s)).size()));
        QCOMPARE(end.done, end.total);

        auto verifying = std::make_shared<OperationProgress>();
        const auto verified =
            engine.verifyEncryptedArchive(created.result().backupFile, u"pw"_s, verifying);
        const auto checked = follow(verified, *verifying, ok);
        QVERIFY(ok && verified.result().isSound());
        QVERIFY(checked.total > 0 && checked.done == checked.total);

        QDir().mkpath(work.filePath(u"container"_s));
        auto restoring = std::make_shared<OperationProgress>();
        const auto restored = engine.restoreEncryptedArchive(
            created.result().backupFile, work.filePath(u"container"_s), u"pw"_s, restoring);
        const auto back = follow(restored, *restoring, ok);
        QVERIFY(ok && restored.result().isSuccess());
        QVERIFY(back.total > 0 && back.done == back.total);

        // A run that fails stops short of the end.
        auto failing = std::make_shared<OperationProgress>();
        const auto wrong = engine.restoreEncryptedArchive(
            created.result().backupFile, work.filePath(u"container"_s), u"falsch"_s, failing);
        const auto stopped = follow(wrong, *failing, ok);
        QVERIFY(ok && !wrong.result().isSuccess());
        QVERIFY(stopped.done < stopped.total);
    }
};

QTEST_GUILESS_MAIN(ProgressGrowsToTheTotal)
#include "ProgressGrowsToTheTotal.moc"
