#include "updates/VersionComparator.h"

#include <QList>
#include <QStringView>

namespace corvina {

namespace {

// Ordered so that, where kinds differ, the greater kind is the newer version.
enum class RunKind { letters, separator, number };

struct Run {
    RunKind kind;
    QStringView text;
};

RunKind kindOf(QChar c) {
    if (c.isDigit()) {
        return RunKind::number;
    }
    return c.isLetter() ? RunKind::letters : RunKind::separator;
}

QList<Run> splitRuns(const QString& version) {
    QList<Run> runs;
    qsizetype start = 0;
    for (qsizetype i = 1; i <= version.size(); ++i) {
        const RunKind kind = kindOf(version.at(start));
        // Each separator is a run of its own: "1..2" has two.
        if (i == version.size() || kindOf(version.at(i)) != kind || kind == RunKind::separator) {
            runs.append({kind, QStringView(version).mid(start, i - start)});
            start = i;
        }
    }
    return runs;
}

// Digits of any length compare without overflow: leading zeros away, then
// the longer is greater, then digit by digit.
int compareNumbers(QStringView left, QStringView right) {
    while (left.size() > 1 && left.front() == u'0') {
        left = left.mid(1);
    }
    while (right.size() > 1 && right.front() == u'0') {
        right = right.mid(1);
    }
    if (left.size() != right.size()) {
        return left.size() < right.size() ? -1 : 1;
    }
    return left.compare(right);
}

bool isZero(QStringView digits) {
    return std::all_of(digits.begin(), digits.end(), [](QChar c) { return c == u'0'; });
}

int sign(int value) {
    return (value > 0) - (value < 0);
}

} // namespace

int compareVersions(const QString& left, const QString& right) {
    const QList<Run> a = splitRuns(left);
    const QList<Run> b = splitRuns(right);
    const qsizetype common = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < common; ++i) {
        if (a[i].kind != b[i].kind) {
            return a[i].kind < b[i].kind ? -1 : 1;
        }
        int result = 0;
        if (a[i].kind == RunKind::number) {
            result = compareNumbers(a[i].text, b[i].text);
        } else if (a[i].kind == RunKind::letters) {
            result = a[i].text.compare(b[i].text);
        }
        if (result != 0) {
            return sign(result);
        }
    }
    // The longer one decides by what follows: a non-zero number makes it
    // newer, letters make it a pre-release of the shorter one.
    const QList<Run>& longer = a.size() > b.size() ? a : b;
    const int longerSign = a.size() > b.size() ? 1 : -1;
    for (qsizetype i = common; i < longer.size(); ++i) {
        if (longer[i].kind == RunKind::letters) {
            return -longerSign;
        }
        if (longer[i].kind == RunKind::number && !isZero(longer[i].text)) {
            return longerSign;
        }
    }
    return 0;
}

} // namespace corvina
