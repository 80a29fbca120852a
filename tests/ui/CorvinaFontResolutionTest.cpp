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

    void everyCaseHasItsOwnNameAndIsFoundByIt() {
        QSet<QString> names;
        for (int i = 0; i < corvinaFontCount; ++i) {
            const auto font = static_cast<CorvinaFont>(i);
            const QString name = corvinaFontName(font);
            QVERIFY2(!names.contains(name), qPrintable(name));
            names.insert(name);
            QCOMPARE(corvinaFontFromName(name), std::optional(font));
        }
        QCOMPARE(corvinaFontFromName(u"roboto_regular17"), std::nullopt);
        QCOMPARE(corvinaFontFromName(u"Roboto_regular12"), std::nullopt);
    }

    void facesAndSizes_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("faceName");
        QTest::addColumn<int>("faceSize");
        QTest::addColumn<int>("nominalSize");
        QTest::addColumn<int>("fallbackWeight");
        QTest::addColumn<bool>("fallbackItalic");

        QTest::newRow("first case") << "roboto_thin7"
                                    << "Roboto-Thin" << 7 << 7 << int(QFont::Thin) << false;
        QTest::newRow("13 asks for 12")
            << "roboto_regular13"
            << "Roboto-Regular" << 12 << 13 << int(QFont::Normal) << false;
        QTest::newRow("13 bold italic")
            << "roboto_boldItalic13"
            << "Roboto-BoldItalic" << 12 << 13 << int(QFont::Bold) << true;
        QTest::newRow("15 asks for 16")
            << "roboto_italic15"
            << "Roboto-Italic" << 16 << 15 << int(QFont::Normal) << true;
        QTest::newRow("14 is regular") << "roboto_bold14"
                                       << "Roboto-Bold" << 14 << 14 << int(QFont::Bold) << false;
        QTest::newRow("largest roboto")
            << "roboto_regular48"
            << "Roboto-Regular" << 48 << 48 << int(QFont::Normal) << false;
        QTest::newRow("helvetica 13 does not exist") << "helvetica_regular13"
                                                     << "" << 0 << 0 << 0 << false;
        QTest::newRow("helvetica light")
            << "helvetica_light7"
            << "Helvetica Light" << 7 << 7 << int(QFont::Thin) << false;
        QTest::newRow("helvetica regular")
            << "helvetica_regular16"
            << "Helvetica" << 16 << 16 << int(QFont::Normal) << false;
        QTest::newRow("last case")
            << "helvetica_boldItalic28"
            << "Helvetica Bold Italic" << 28 << 28 << int(QFont::Bold) << true;
    }

    void facesAndSizes() {
        QFETCH(QString, name);
        QFETCH(QString, faceName);
        QFETCH(int, faceSize);
        QFETCH(int, nominalSize);
        QFETCH(int, fallbackWeight);
        QFETCH(bool, fallbackItalic);

        const auto font = corvinaFontFromName(name);
        if (faceName.isEmpty()) {
            QVERIFY(!font);
            return;
        }
        QVERIFY(font);
        const CorvinaFontFace face = corvinaFontFace(*font);
        QCOMPARE(face.faceName, faceName);
        QCOMPARE(face.faceSize, faceSize);
        QCOMPARE(face.nominalSize, nominalSize);
        QCOMPARE(int(face.fallbackWeight), fallbackWeight);
        QCOMPARE(face.fallbackItalic, fallbackItalic);
    }

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

        const QFont thin = resolveFont(CorvinaFont::helvetica_light24, noFace);
        QCOMPARE(thin.pixelSize(), 24);
        QCOMPARE(thin.weight(), QFont::Thin);

        const QFont boldItalic = resolveFont(CorvinaFont::roboto_boldItalic15, noFace);
        QCOMPARE(boldItalic.pixelSize(), 15);
        QCOMPARE(boldItalic.weight(), QFont::Bold);
        QVERIFY(boldItalic.italic());
    }
};

QTEST_MAIN(CorvinaFontResolutionTest)
#include "CorvinaFontResolutionTest.moc"
