#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStringList>

// Drives the `secret-tool` command on the session bus, as another program
// sharing the user's keyring would.
namespace secret_tool {

struct Result {
    int exitCode;
    QByteArray output;
};

inline Result run(const QStringList& arguments, const QByteArray& input = {}) {
    QProcess process;
    process.start("secret-tool", arguments);
    process.waitForStarted();
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(20000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput()};
}

// Stores raw bytes under the attributes ("service", "S", "account", "A", ...).
inline bool store(const QStringList& attributes, const QByteArray& secret) {
    return run(QStringList{"store", "--label=secret-tool item"} + attributes, secret).exitCode == 0;
}

inline Result lookup(const QStringList& attributes) {
    return run(QStringList{"lookup"} + attributes);
}

// Object paths of every item, locked or not, whose attributes include these.
inline QStringList itemPaths(const QStringList& attributes) {
    QStringList paths;
    for (const QByteArray& line :
         run(QStringList{"search", "--all"} + attributes).output.split('\n')) {
        if (line.startsWith('[')) {
            paths << QString::fromUtf8(line);
        }
    }
    return paths;
}

inline void clear(const QStringList& attributes) {
    run(QStringList{"clear"} + attributes);
}

} // namespace secret_tool
