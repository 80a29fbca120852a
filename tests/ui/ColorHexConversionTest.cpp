#include "ui/ColorHex.h"

#include <QTest>

using corvina::colorFromHex;
using corvina::hexFromColor;

// Hexadecimal colours as the "iconColor" user default holds them.
class ColorHexConversionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void colorFromHexReadsByCharacterCount_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("red");
        QTest::addColumn<int>("green");
        QTest::addColumn<int>("blue");
        QTest::addColumn<int>("alpha");

        QTest::newRow("six digits") << "5856D6" << 0x58 << 0x56 << 0xD6 << 255;
        QTest::newRow("eight digits are alpha first") << "80FF0000" << 255 << 0 << 0 << 0x80;
        QTest::newRow("three digits times 17") << "0f8" << 0 << 255 << 136 << 255;
        // "#" stops the scan at once: 0 read, and seven characters fall to
        // the last row.
        QTest::newRow("seven with number sign") << "#5856D6" << 1 << 1 << 0 << 1;
        QTest::newRow("empty") << "" << 1 << 1 << 0 << 1;
    }

    void colorFromHexReadsByCharacterCount() {
        QFETCH(QString, text);
        QFETCH(int, red);
        QFETCH(int, green);
        QFETCH(int, blue);
        QFETCH(int, alpha);

        const QColor color = colorFromHex(text);
        QVERIFY(color.isValid());
        QCOMPARE(qRound(color.redF() * 255), red);
        QCOMPARE(qRound(color.greenF() * 255), green);
        QCOMPARE(qRound(color.blueF() * 255), blue);
        QCOMPARE(qRound(color.alphaF() * 255), alpha);
    }

    void hexFromColorWritesAlphaLast_data() {
        QTest::addColumn<QColor>("color");
        QTest::addColumn<QString>("hex");

        QTest::newRow("opaque") << QColor(0x58, 0x56, 0xD6) << "5856D6";
        QTest::newRow("translucent") << QColor(0xFF, 0x00, 0x00, 0x80) << "FF000080";
        QTest::newRow("no components") << QColor() << "5856D6";
    }

    void hexFromColorWritesAlphaLast() {
        QFETCH(QColor, color);
        QFETCH(QString, hex);
        QCOMPARE(hexFromColor(color), hex);
    }
};

QTEST_GUILESS_MAIN(ColorHexConversionTest)
#include "ColorHexConversionTest.moc"
