// SPDX-License-Identifier: GPL-3.0-or-later
#include "album/album.h"
#include "support/suite.h"

#include <QDirIterator>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QtTest>

namespace {
const QDir top{QStringLiteral(SOURCES)};

QString Read(const QString &path)
{
    QFile file(top.filePath(path));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QSet<QString> OptionsIn(QString text)
{
    text.replace(QStringLiteral("\\-"), QStringLiteral("-")); // as a manual page writes it
    static const QRegularExpression option(QStringLiteral("(?<![\\w-])--[a-z][a-z-]*"));
    QSet<QString> found;
    for (auto match = option.globalMatch(text); match.hasNext();)
        found.insert(match.next().captured());
    return found;
}

QString Help(const char *program)
{
    QProcess process;
    process.start(QString::fromLatin1(program), {QStringLiteral("--help")});
    return process.waitForFinished() ? QString::fromUtf8(process.readAllStandardOutput()) : QString();
}

/// The pages that people read, by their paths below the top folder.
QStringList Pages()
{
    QStringList pages = top.entryList({QStringLiteral("*.md")}, QDir::Files);
    for (const QString &page : QDir(top.filePath(QStringLiteral("docs"))).entryList({QStringLiteral("*.md")}))
        pages.append(QStringLiteral("docs/") + page);
    return pages;
}
} // namespace

/// What is written about the program is true of it.
class TestDocs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ManualPagesKnowEveryOptionAndNoOther_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("help");
        for (const char *folder : {"packaging/man/", "packaging/man/fr/"})
            for (const auto &[name, program] : {std::pair{"voltaire", VOLTAIRE}, {"virtual-board", VIRTUAL_BOARD}}) {
                const QString page = QString::fromLatin1(folder) + QLatin1String(name) + QStringLiteral(".1");
                QTest::newRow(qPrintable(page)) << page << Help(program);
            }
    }
    void ManualPagesKnowEveryOptionAndNoOther()
    {
        QFETCH(QString, page);
        QFETCH(QString, help);
        const QSet<QString> offered = OptionsIn(help);
        const QSet<QString> documented = OptionsIn(Read(page));
        QVERIFY(offered.size() > 10);
        QCOMPARE((offered - documented).values(), QStringList());
        QCOMPARE((documented - offered).values(), QStringList());
    }

    void TheGuideTellsEveryOptionOfTheProgram()
    {
        QCOMPARE((OptionsIn(Help(VOLTAIRE)) - OptionsIn(Read(QStringLiteral("docs/guide.md")))).values(),
                 QStringList());
    }

    void LinksLeadSomewhere()
    {
        static const QRegularExpression link(QStringLiteral("\\]\\(([^)#]+)(#[^)]*)?\\)"));
        int links = 0;
        for (const QString &page : Pages())
            for (auto match = link.globalMatch(Read(page)); match.hasNext();) {
                const QString target = match.next().captured(1);
                if (target.contains(QStringLiteral("://")))
                    continue;
                ++links;
                const QString path = QFileInfo(top.filePath(page)).dir().filePath(target);
                QVERIFY2(QFileInfo::exists(path), qPrintable(page + QStringLiteral(" -> ") + target));
            }
        QVERIFY(links > 10);
    }

    void EveryWindowHasItsPictureInTheGuide()
    {
        const QString guide = Read(QStringLiteral("docs/guide.md"));
        for (const QString &window : Album::Windows()) {
            const QString picture = QStringLiteral("images/") + window.toLower() + QStringLiteral(".png");
            QVERIFY2(guide.contains(picture), qPrintable(picture));
            QVERIFY2(QFileInfo::exists(top.filePath(QStringLiteral("docs/") + picture)), qPrintable(picture));
        }
    }

    void EverySourceFileNamesItsLicence()
    {
        int sources = 0;
        for (const char *folder : {"src", "board", "tests", "bench", "fuzz"})
            for (QDirIterator it(top.filePath(QLatin1String(folder)),
                                 {QStringLiteral("*.h"), QStringLiteral("*.cpp"), QStringLiteral("*.ui"),
                                  QStringLiteral("*.py"), QStringLiteral("CMakeLists.txt")},
                                 QDir::Files, QDirIterator::Subdirectories);
                 it.hasNext(); ++sources) {
                QFile file(it.next());
                QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
                const QByteArray head = file.readLine() + file.readLine();
                QVERIFY2(head.contains("SPDX-License-Identifier: GPL-3.0-or-later"), qPrintable(file.fileName()));
            }
        QVERIFY(sources > 500);
    }
};

REGISTER_TEST(TestDocs)
#include "tst_docs.moc"
