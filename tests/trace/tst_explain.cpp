// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "support/suite.h"
#include "trace/explain.h"

#include <QTemporaryDir>
#include <QtTest>

namespace {
/// What a trace with these lines is explained as; the error, if there is one, comes last.
QByteArray Explained(const QByteArray &lines)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("trace"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(lines) != lines.size())
        return "not written";
    file.close();
    QByteArray text;
    try {
        Explain(path, [&text](const QByteArray &line) { text += line; });
    } catch (const FileError &error) {
        text += QString(error.Text()).replace(path, QStringLiteral("FILE")).toUtf8();
    }
    return text;
}
} // namespace

class TestExplain : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Lines_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QByteArray>("meanings");
        const auto row = [](const char *name, const char *lines, const char *meanings) {
            QTest::newRow(name) << QByteArray(lines) << QByteArray(meanings);
        };
        row("greeting", "0 > 85\n1 < 27\n2 > 170\n3 < 85\n",
            "→ appel\n← la carte répond\n→ second appel\n← session ouverte\n");
        row("greetings without answer", "0 > 85\n200000 > 85\n300000 < 27\n", "→ appel\n→ appel\n← la carte répond\n");
        row("channel", "0 > 27 13\n1 < 27 2 45 170\n", "→ voie 13 (batterie)\n← 557\n");
        row("a 27 in the data", "0 > 27 12\n1 < 27 27 27 0\n", "→ voie 12 (delta)\n← 6939\n");
        row("in pieces", "0 > 27\n1 > 13\n2 < 27 2\n3 < 45\n4 < 170\n", "→ …\n→ voie 13 (batterie)\n← …\n← …\n← 557\n");
        row("two at once", "0 > 27 15 0 27 17 0\n1 < 6 6\n", "→ 15 (charge) = 0, 17 (alimentation) = 0\n← fait\n");
        row("lines", "0 > 27 31\n1 < 27 5 0\n", "→ port 31 (lignes)\n← 5 (15 = 1, 16 = 0, 17 = 0)\n");
        row("clock", "0 > 27 41\n1 < 27 1 2 59 0\n", "→ horloge\n← 01:02:59\n");
        row("bus", "0 > 27 1\n1 < 27 0 0 3 0\n", "→ état du bus I2C\n← 0 0 3 (esclave absent)\n");
        row("memory", "0 > 27 39 5 200\n1 < 6\n2 > 27 38 4\n3 < 27 80 0\n",
            "→ EEPROM du maître, 5 = 200\n← fait\n→ EEPROM de l'esclave, 4\n← 80\n");
        row("external memory", "0 > 27 50 1 2 3 9\n1 < 6\n", "→ EEPROM externe 2, 515 = 9\n← fait\n");
        row("flash", "0 > 27 46 1 0\n1 < 27 63 255 0\n", "→ flash de l'esclave, mot 256\n← 16383\n");
        row("booster", "0 > 27 51 1\n1 < 6\n2 > 27 51 0 40 1 2\n3 < 6\n",
            "→ 51 (doubleur coupé) = 1\n← fait\n→ 51 (doubleur coupé) = 0, fréquence 40, largeur 258\n← fait\n");
        row("stored behind noise", "0 > 27 40 1 2\n1 < 3 6\n", "→ EEPROM de l'esclave, 1 = 2\n← inattendu, fait\n");
        row("nobody asked", "0 < 6\n", "← inattendu\n");
        row("unknown", "0 > 27 99\n1 > 3\n", "→ commande 99 inconnue\n→ inconnu\n");
        row("lost answer", "0 > 27 6\n1500000 > 27 13\n1500100 < 27 2 45 0\n",
            "→ voie 6 (alimentation)\n→ voie 13 (batterie), sans réponse : voie 6 (alimentation)\n← 557\n");
        row("late answer", "0 > 27 6\n300000 > 27 13\n400000 < 27 0 1 0\n400001 < 27 2 45 0\n",
            "→ voie 6 (alimentation)\n→ voie 13 (batterie)\n← 1\n← 557\n");
        row("stream",
            "0 > 27\n1 > 3\n2 < 10 1 0 7 1 2 3 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n3 < 0 10\n4 > 85\n"
            "5 < 27\n",
            "→ …\n→ fin de session\n← …\n← enregistrement 7, 01:02:03, …\n→ appel\n← la carte répond\n");
        row("closed in between", "0 > 27 6\n1 = fermé\n2 = ouvert\n3 > 27 13\n4 < 27 2 45 0\n",
            "→ voie 6 (alimentation)\n= fermé\n= ouvert\n→ voie 13 (batterie)\n← 557\n");
        row("a board's own trace", "0.000010 in 27 13\n1.500000 out 27 2 45 0\n", "→ voie 13 (batterie)\n← 557\n");
        row("former meanings", "0 > 27 13 → voie 99\n1 < 27 2 45 0 ← 1 V\n", "→ voie 13 (batterie)\n← 557\n");
        row("last line without end", "0 > 27 13\n1 < 27 2", "→ voie 13 (batterie)\n");
    }
    void Lines()
    {
        QFETCH(QByteArray, lines);
        QFETCH(QByteArray, meanings);
        QByteArray shown;
        for (const QByteArray &line : Explained(lines).split('\n')) {
            qsizetype at = -1;
            for (const char *mark : {"→", "←", "= "})
                at = at < 0 ? line.indexOf(mark) : at;
            shown += at < 0 ? line : line.mid(at) + '\n';
        }
        QCOMPARE(shown, meanings);
    }

    void ALineIsWrittenForPeople()
    {
        const QByteArray lines = "# head\r\n12 > 27 13\n1.234567 out 27 2 45 170\n2000000 = fermé\n";
        QCOMPARE(Explained(lines), QByteArray("# head\n"
                                              "          12 > 27 13               → voie 13 (batterie)\n"
                                              "     1234567 < 27 2 45 170         ← 557\n"
                                              "     2000000 = fermé\n"));
        QCOMPARE(Explained(Explained(lines)), Explained(lines));
    }

    void DamageIsNamed_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QByteArray>("why");
        const auto row = [](const char *name, const QByteArray &lines, const char *why) {
            QTest::newRow(name) << lines << QByteArray(why);
        };
        row("no trace", "Cher ami,\n", "ligne 1 : sens « ami, »");
        row("one word", "hello\n", "ligne 1 : ce n'est pas une ligne de trace : « hello »");
        row("a byte", "# head\n0 > 27 300\n", "ligne 2 : octet « 300 »");
        row("a negative byte", "0 > -1\n", "ligne 1 : octet « -1 »");
        row("a time", "0 > 27 13\nx < 27\n", "ligne 2 : temps « x »");
        row("seconds", "0.5 > 27\n", "ligne 1 : temps « 0.5 »");
        row("a direction", "0 ? 27\n", "ligne 1 : sens « ? »");
        row("no bytes", "0 >\n", "ligne 1 : il manque les octets");
        row("parts in the wrong order", "5 > 27 13\n4 < 27 1 2 0\n", "ligne 2 : le temps recule");
        row("zeros", QByteArray(3, '\0') + '\n', "ligne 1 : ce n'est pas une ligne de trace : « ");
    }
    void DamageIsNamed()
    {
        QFETCH(QByteArray, lines);
        QFETCH(QByteArray, why);
        const QByteArray said = Explained(lines);
        QVERIFY2(said.contains("Erreur de fichier : FILE (" + why), said.constData());
    }

    void AFileThatIsNotThereIsNamed()
    {
        QVERIFY_EXCEPTION_THROWN(Explain(QStringLiteral("/nowhere/trace"), [](const QByteArray &) {}), FileError);
    }
};

REGISTER_TEST(TestExplain)
#include "tst_explain.moc"
