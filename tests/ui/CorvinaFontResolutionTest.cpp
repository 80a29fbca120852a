#include "ui/CorvinaFont.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>
#include <QSet>
#include <QTest>

using namespace corvina;

// The program's text styles and how they become fonts.
class CorvinaFontResolutionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QCOMPARE(registerBundledFonts(), 5); }

    // Each case has a name of its own that finds it again; names of no case
    // find nothing.
    void everyCaseHasItsOwnNameAndIsFoundByIt() {
        QSet<QString> names;
        for (int i = 0; i < corvinaFontCount; ++i) {
            const auto font = static_cast<CorvinaFont>(i);
            const QString name = corvinaFontName(font);
            QVERIFY2(!names.contains(name), qPrintable(name));
            names.insert(name);
            QCOMPARE(corvinaFontFromName(name), std::optional(font));
        }
        for (const char* unknown :
             {"roboto_regular17", "Roboto_regular12", "helvetica_regular13"}) {
            QCOMPARE(corvinaFontFromName(QString::fromLatin1(unknown)), std::nullopt);
        }
    }

    // Sizes 13 and 15 of the bundled face are drawn at 12 and 16.
    void bundledFaceIsUsedAtItsFaceSize() {
        const QFont font = resolveFont(CorvinaFont::roboto_regular13);
        QCOMPARE(font.pixelSize(), 12);
        const QFontInfo info(font);
        QCOMPARE(info.family(), QStringLiteral("Roboto"));
        QCOMPARE(info.styleName(), QStringLiteral("Regular"));

        const QFontInfo boldItalic(resolveFont(CorvinaFont::roboto_boldItalic15));
        QCOMPARE(boldItalic.pixelSize(), 16);
        QVERIFY(boldItalic.italic());
        QCOMPARE(boldItalic.weight(), int(QFont::Bold));
    }

    void missingFaceFallsBackOnTheSystemFontAtTheNominalSize() {
        const auto noFace = [](const QString&, const QString&) { return false; };
        const QString systemFamily = QFontDatabase::systemFont(QFontDatabase::GeneralFont).family();

        const QFont regular = resolveFont(CorvinaFont::roboto_regular13, noFace);
        QCOMPARE(regular.pixelSize(), 13);
        QCOMPARE(regular.family(), systemFamily);
        QCOMPARE(regular.weight(), QFont::Normal);
        QVERIFY(!regular.italic());

        const QFont boldItalic = resolveFont(CorvinaFont::roboto_boldItalic15, noFace);
        QCOMPARE(boldItalic.pixelSize(), 15);
        QCOMPARE(boldItalic.weight(), QFont::Bold);
        QVERIFY(boldItalic.italic());
    }
};

QTEST_MAIN(CorvinaFontResolutionTest)
#include "CorvinaFontResolutionTest.moc"
