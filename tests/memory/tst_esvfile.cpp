// SPDX-License-Identifier: GPL-3.0-or-later
#include "memory/esvfile.h"
#include "support/suite.h"

#include <QFile>
#include <QtTest>

namespace {
QByteArray AllBytes()
{
    QByteArray bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes.append(static_cast<char>(byte));
    return bytes;
}

QByteArray Corpus(const QString &name)
{
    QFile file(QStringLiteral(TEST_DATA "/esv/%1.ESV").arg(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
} // namespace

class TestEsvFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Text()
    {
        QCOMPARE(esvfile::Write(QByteArray("\0\x07\x80\xFF", 4)), QByteArray(" 0 \r\n 7 \r\n 128 \r\n 255 \r\n"));
        QCOMPARE(esvfile::Write(AllBytes()).count('\n'), 256);
        QCOMPARE(esvfile::Write(AllBytes()), ::Corpus(QStringLiteral("ramp")));
    }

    void AllBytesRoundTrip()
    {
        QCOMPARE(esvfile::Read(esvfile::Write(AllBytes())), AllBytes());
        for (int byte = 0; byte < 256; ++byte) {
            const QByteArray image(256, static_cast<char>(byte));
            QCOMPARE(esvfile::Read(esvfile::Write(image)), image);
        }
    }

    void Reading_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("bytes");
        const auto row = [](const char *text, const QByteArray &bytes) {
            QTest::newRow(text) << QByteArray(text) << bytes;
        };
        row("", "");
        row(" 1 \r\n 2 \r\n", "\x01\x02");
        row("1,2,3", "\x01\x02\x03");
        row("1 , 2\n3\r4", "\x01\x02\x03\x04");
        row("\t9  \n", "\x09");
        row("0000255", "\xFF");
        row("255,256,1", "\xFF");
        row("1,-1,1", "\x01");
        row("1,+1,1", "\x01");
        row("1,1.5,1", "\x01");
        row("1,1 2,1", "\x01");
        row("1,99999999999999999999999999999999,1", "\x01");
        row("1,4294967297,1", "\x01"); // does not wrap
        row("1,douze,1", "\x01");
        row("1,2x,1", "\x01");
        row("1,,1", "\x01");
        row("1\r\n\r\n1", "\x01");
        row("1,\"2\"", "\x01");
        row("1,\xB2", "\x01");
        row(",1", "");
        row("\xEF\xBB\xBF 1", "");
    }
    void Reading()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, bytes);
        QCOMPARE(esvfile::Read(text), bytes);
    }

    void Corpus_data()
    {
        QTest::addColumn<int>("length");
        const auto row = [](const char *name, int length) { QTest::newRow(name) << length; };
        row("noise", 256);
        row("commas", 256);
        row("mixed-separators", 256);
        row("no-blanks", 256);
        row("much-blank", 256);
        row("carriage-returns", 256);
        row("leading-zeros", 256);
        row("no-last-line-end", 256);
        row("more-than-256", 256);
        row("short", 100);
        row("one-short", 255);
        row("blank-line", 10);
        row("empty", 0);
        for (const char *name : {"256", "negative", "plus", "huge", "fraction", "word", "two-on-a-line", "zero-byte"})
            row(name, 20);
    }
    void Corpus()
    {
        QFETCH(int, length);
        const QByteArray bytes = esvfile::Read(::Corpus(QString::fromLatin1(QTest::currentDataTag())));
        QCOMPARE(bytes.size(), length);
        QCOMPARE(bytes, esvfile::Read(::Corpus(QStringLiteral("noise"))).first(length));
    }
};

REGISTER_TEST(TestEsvFile)
#include "tst_esvfile.moc"
