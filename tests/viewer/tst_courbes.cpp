// SPDX-License-Identifier: GPL-3.0-or-later
#include "logs/ownlogs.h"
#include "simulation/simulatedclock.h"
#include "support/boxes.h"
#include "support/suite.h"
#include "viewer/courbes.h"

#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTableView>

#include <optional>

class TestCourbes : public QObject
{
    Q_OBJECT

private:
    template <class T>
    T *Find(const char *name)
    {
        T *found = viewer_->findChild<T *>(QLatin1String(name));
        if (!found)
            qFatal("no control %s", name);
        return found;
    }
    Chart *Drawn() { return Find<Chart>("Courbe"); }
    const Curve *Drawn(const char *name)
    {
        const auto &curves = Drawn()->Curves();
        const auto found =
            std::ranges::find_if(curves, [&](const Curve *curve) { return curve->name() == QString::fromUtf8(name); });
        return found == curves.end() ? nullptr : *found;
    }
    static QVector<QPointF> Points(const Curve *curve)
    {
        QVector<QPointF> points;
        for (qsizetype i = 0; curve && i < curve->Points(); ++i)
            points.append({curve->KeyOf(i), curve->ValueOf(i)});
        return points;
    }
    QAbstractItemModel *Table() { return Find<QTableView>("Valeurs")->model(); }
    QString Cell(int row, int column) { return Table()->index(row, column).data().toString(); }
    QString State() { return Find<QLabel>("Etat")->text(); }
    void SaveAs(const char *button, const QString &path)
    {
        Find<QPushButton>(button)->click();
        auto *dialog = viewer_->findChild<QFileDialog *>();
        QVERIFY(dialog);
        dialog->setOption(QFileDialog::DontConfirmOverwrite);
        dialog->selectFile(path);
        QMetaObject::invokeMethod(dialog, "accept");
        SOON(!viewer_->findChild<QFileDialog *>());
    }

    std::optional<SimulatedClock> clock_;
    std::optional<OwnLogs> logs_;
    std::optional<Kept<Courbes>> viewer_;

private Q_SLOTS:
    void init()
    {
        clock_.emplace();
        logs_.emplace();
        viewer_.emplace();
        viewer_->Open();
    }
    void cleanup()
    {
        AnswerBoxes();
        viewer_.reset();
        logs_.reset();
        clock_.reset();
    }

    void Controls_data()
    {
        QTest::addColumn<QString>("text");
        for (const auto &[name, text] :
             {std::pair("CbOuvrir", "Ouvrir…"), std::pair("CbEnlever", "Enlever"), std::pair("CbPng", "PNG…"),
              std::pair("CbPdf", "PDF…"), std::pair("CbCsv", "CSV…"), std::pair("CbRetour", "Retour")})
            QTest::newRow(name) << QString::fromUtf8(text);
    }
    void Controls()
    {
        QFETCH(QString, text);
        QCOMPARE(Find<QPushButton>(QTest::currentDataTag())->text(), text);
    }

    void ItOpensAsLargeAsItWas()
    {
        viewer_->resize(790, 600);
        viewer_->close();
        viewer_.emplace();
        viewer_->Open();
        QCOMPARE(viewer_->size(), QSize(790, 600));
    }

    void WithoutALogThereIsNothingToDoButToOpenOne()
    {
        QCOMPARE(viewer_->windowTitle(), QStringLiteral("Courbes"));
        QVERIFY(Find<QPushButton>("CbOuvrir")->isEnabled());
        for (const char *button : {"CbEnlever", "CbPng", "CbPdf", "CbCsv"})
            QVERIFY(!Find<QPushButton>(button)->isEnabled());
        QCOMPARE(Table()->rowCount(), 0);
    }

    void ALogIsDrawnAndListed()
    {
        viewer_->OpenLogs({OwnLogs::Charge()});
        QCOMPARE(Points(Drawn("V Batterie")), QVector<QPointF>({{1, 5.25}, {2, 5.25}, {3, 5.25}}));
        QCOMPARE(Points(Drawn("Capacité")), QVector<QPointF>({{1, 0}, {2, 1}, {3, 1}}));
        QCOMPARE(Drawn("Courant")->Unit(), QStringLiteral("A"));
        QCOMPARE(Drawn("Courant")->valueAxis()->label(), QStringLiteral("Courant [A]"));
        QVERIFY(!Drawn("V Delta")); // until it is chosen
        QCOMPARE(Table()->rowCount(), 3);
        QCOMPARE(Table()->columnCount(), 17);
        QCOMPARE(Cell(1, 0), QStringLiteral("2"));
        QCOMPARE(Table()->headerData(3, Qt::Horizontal).toString(), QStringLiteral("VBAT\nV"));
        QCOMPARE(Cell(1, 3), QStringLiteral("5.25"));
        QCOMPARE(Table()->headerData(9, Qt::Horizontal).toString(), QStringLiteral("VALIM\nV"));
        QCOMPARE(Cell(1, 9), QStringLiteral("13.65"));
        QVERIFY(State().endsWith(QStringLiteral("(charge) : 3 enregistrements")));
    }

    void AQuantityIsChosen()
    {
        viewer_->OpenLogs({OwnLogs::Charge()});
        auto *quantities = Find<QListWidget>("Grandeurs");
        quantities->findItems(QStringLiteral("V Delta"), Qt::MatchExactly)[0]->setCheckState(Qt::Checked);
        quantities->findItems(QStringLiteral("V Delta max."), Qt::MatchExactly)[0]->setCheckState(Qt::Checked);
        quantities->findItems(QStringLiteral("Courant"), Qt::MatchExactly)[0]->setCheckState(Qt::Unchecked);
        QVERIFY(!Drawn("Courant"));
        QCOMPARE(Drawn("V Delta")->valueAxis(), Drawn("V Delta max.")->valueAxis());
        viewer_->OpenLogs({OwnLogs::Discharge()}); // the choice stays
        QVERIFY(Drawn("V Delta (1)") && !Drawn("Courant (2)") && Drawn("V Batterie (2)"));
    }

    void EveryKindOfLogIsOpened()
    {
        viewer_->OpenLogs({OwnLogs::Discharge(), OwnLogs::Capacity(), OwnLogs::Monitor()});
        const auto *const list = Find<QListWidget>("Journaux");
        QCOMPARE(list->count(), 3);
        QVERIFY(list->item(0)->text().startsWith(QStringLiteral("1 · S_DCH_D")));
        QVERIFY(list->item(2)->text().startsWith(QStringLiteral("3 · MOni_CHrg_D")));
        QVERIFY(State().endsWith(QStringLiteral("(moniteur) : 1 enregistrements")));
        QCOMPARE(Points(Drawn("Capacité déchargée (2)")), QVector<QPointF>({{2, 1000}, {124, 1000}}));
        QCOMPARE(Points(Drawn("VBat (carte) (3)")), QVector<QPointF>({{0, 104}}));
    }

    void LogsAreAlignedAtTheirEnds()
    {
        viewer_->OpenLogs({OwnLogs::Charge(5), OwnLogs::Discharge()});
        QCOMPARE(Drawn("V Batterie (1)")->KeyOf(0), 1.0);
        QVERIFY(Drawn("V Batterie (1)")->pen().color() != Drawn("V Batterie (2)")->pen().color());
        Find<QComboBox>("SelAlign")->setCurrentIndex(1);
        QCOMPARE(Drawn("V Batterie (1)")->KeyOf(0), -4.0);
        QCOMPARE(Drawn("V Batterie (1)")->KeyOf(4), 0.0);
        QCOMPARE(Drawn("V Batterie (2)")->KeyOf(1), 0.0);
    }

    void ALogThatGrowsIsFollowed_data()
    {
        QTest::addColumn<int>("align");
        QTest::newRow("start") << 0;
        QTest::newRow("end") << 1;
    }
    void ALogThatGrowsIsFollowed()
    {
        QFETCH(int, align);
        RunLog log(RunLog::chargePrefix, RunLog::chargeHeader);
        Find<QComboBox>("SelAlign")->setCurrentIndex(align);
        viewer_->OpenLogs({log.Path()});
        QCOMPARE(Table()->rowCount(), 0);
        for (int second = 1; second <= 20; ++second) {
            OwnLogs::Charged(log, second);
            SOON(Table()->rowCount() == second);
            const Curve *volts = Drawn("V Batterie");
            QCOMPARE(volts->Points(), qsizetype(second));
            QCOMPARE(volts->KeyOf(second - 1), align == 0 ? second : 0.0);
        }
        QVERIFY(State().endsWith(QStringLiteral(" : 20 enregistrements")));
    }

    void ALogThatIsMadeAnewIsFollowed()
    {
        const QString path = OwnLogs::Charge(30);
        viewer_->OpenLogs({path});
        QFile::remove(path);
        RunLog log(RunLog::chargePrefix, RunLog::chargeHeader);
        QCOMPARE(log.Path(), path);
        OwnLogs::Charged(log, 1);
        SOON(Table()->rowCount() == 1);
        OwnLogs::Charged(log, 2);
        SOON(Table()->rowCount() == 2);
        QCOMPARE(Drawn("V Batterie")->Points(), qsizetype(2));
    }

    void AForeignFileIsSaidAndNothingIsLost()
    {
        QFile foreign(QStringLiteral("foreign.txt"));
        QVERIFY(foreign.open(QIODevice::WriteOnly) && foreign.write("a letter\n") > 0);
        foreign.close();
        viewer_->OpenLogs({OwnLogs::Charge()});
        viewer_->OpenLogs({foreign.fileName(), QStringLiteral("nowhere.txt"), OwnLogs::Discharge()});
        QCOMPARE(Find<QListWidget>("Journaux")->count(), 2);
        const QStringList said = BoxTexts();
        QCOMPARE(said.size(), 2);
        QVERIFY(said.join(u' ').contains(QStringLiteral("ce n'est pas un journal de charge")));
        QVERIFY(Drawn("V Batterie (1)") && Drawn("V Batterie (2)"));
    }

    void ALogIsTakenAway()
    {
        viewer_->OpenLogs({OwnLogs::Charge(), OwnLogs::Discharge()});
        Find<QListWidget>("Journaux")->setCurrentRow(0);
        QCOMPARE(Table()->rowCount(), 3);
        Find<QPushButton>("CbEnlever")->click();
        QCOMPARE(Table()->rowCount(), 2);
        QCOMPARE(Points(Drawn("V Batterie")).size(), 2);
        Find<QPushButton>("CbEnlever")->click();
        QCOMPARE(Table()->rowCount(), 0);
        QVERIFY(Drawn()->Curves().empty());
        QVERIFY(!Find<QPushButton>("CbCsv")->isEnabled());
    }

    void PicturesAndValuesAreSaved()
    {
        viewer_->OpenLogs({OwnLogs::Charge()});
        const auto saved = [this](const char *button, const char *name) {
            const QString path = logs_->folder.filePath(QLatin1String(name));
            SaveAs(button, path);
            QFile file(path);
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        };
        QVERIFY(saved("CbPng", "a.png").startsWith("\x89PNG"));
        QVERIFY(saved("CbPdf", "a.pdf").startsWith("%PDF"));
        QVERIFY(saved("CbCsv", "a.csv").startsWith("Time [s],Step,Cycle,Current [A]"));
    }

    void TheCursorFindsItsRecord()
    {
        viewer_->OpenLogs({OwnLogs::Charge(100)});
        Q_EMIT Drawn()->Pointed(42);
        QCOMPARE(Find<QTableView>("Valeurs")->currentIndex().row(), 41);
        Find<QComboBox>("SelAlign")->setCurrentIndex(1);
        Q_EMIT Drawn()->Pointed(0);
        QCOMPARE(Find<QTableView>("Valeurs")->currentIndex().row(), 99);
    }
};

REGISTER_TEST(TestCourbes)
#include "tst_courbes.moc"
