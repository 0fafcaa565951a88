// SPDX-License-Identifier: GPL-3.0-or-later
#include "logbook/carnet.h"
#include "logbook/historychart.h"
#include "logbook/packpanel.h"
#include "logbookbench.h"
#include "logs/ownlogs.h"
#include "simulation/simulatedclock.h"
#include "support/boxes.h"
#include "support/suite.h"

#include <QComboBox>
#include <QDateEdit>
#include <QFileDialog>
#include <QListWidget>
#include <QSpinBox>
#include <QTableView>

#include <optional>

#include <csignal>
#include <sys/resource.h>

/// The logbook's window.
class TestCarnet : public QObject
{
    Q_OBJECT

private:
    template <class T>
    T *Find(const char *name)
    {
        T *found = carnet_->findChild<T *>(QLatin1String(name));
        if (!found)
            qFatal("no control %s", name);
        return found;
    }
    QTableView *Table() { return Find<QTableView>("Travaux"); }
    int Rows() { return Table()->model()->rowCount(); }
    /// The cell under a head, without its unit.
    QString Cell(int row, const char *head)
    {
        const QAbstractItemModel *const model = Table()->model();
        for (int column = 0; column < model->columnCount(); ++column)
            if (model->headerData(column, Qt::Horizontal).toString() == QString::fromUtf8(head))
                return model->index(row, column).data().toString();
        return QStringLiteral("no column");
    }
    QPushButton *Button(const char *name) { return Find<QPushButton>(name); }
    void Choose(const char *combo, const QString &text)
    {
        auto *box = Find<QComboBox>(combo);
        QVERIFY(box->findText(text) >= 0);
        box->setCurrentIndex(box->findText(text));
    }
    RunEntry Enter(int day, RunNews::Kind kind, const QString &pack, std::optional<double> capacity = {})
    {
        RunEntry run = SomeRun(day, RunEntry::End::Rule, kind);
        run.pack = pack;
        run.figures.seconds = 4345;
        run.figures.capacity = capacity;
        (kind == RunNews::Kind::Charge ? run.figures.milliampereHoursIn : run.figures.milliampereHoursOut) =
            capacity.value_or(1480.9);
        if (kind == RunNews::Kind::Capacity)
            run.figures.resistance = 40 + day;
        book_->Enter(run);
        return run;
    }
    const Curve *Drawn(const char *name)
    {
        const auto &curves = Find<HistoryChart>("Historique")->Curves();
        const auto found =
            std::ranges::find_if(curves, [&](const Curve *curve) { return curve->name() == QString::fromUtf8(name); });
        return found == curves.end() ? nullptr : *found;
    }
    QVector<QPointF> Points(const char *name)
    {
        const Curve *const curve = Drawn(name);
        QVector<QPointF> points;
        for (qsizetype i = 0; curve && i < curve->Points(); ++i)
            points.append({curve->KeyOf(i), curve->ValueOf(i)});
        return points;
    }
    void SaveReport(const QString &path)
    {
        Button("CbRapport")->click();
        auto *dialog = carnet_->findChild<QFileDialog *>();
        QVERIFY(dialog);
        dialog->setOption(QFileDialog::DontConfirmOverwrite);
        dialog->selectFile(path);
        QMetaObject::invokeMethod(dialog, "accept");
        SOON(!carnet_->findChild<QFileDialog *>());
    }

    std::optional<SimulatedClock> clock_;
    std::optional<OwnLogs> logs_;
    std::optional<Logbook> book_;
    std::optional<Kept<Carnet>> carnet_;

private Q_SLOTS:
    void init()
    {
        clock_.emplace();
        logs_.emplace();
        drive::Prepare();
        book_.emplace();
        carnet_.emplace(*book_);
        carnet_->Open();
    }
    void cleanup()
    {
        AnswerBoxes();
        carnet_.reset();
        book_.reset();
        logs_.reset();
        drive::SetRoot(QString());
        clock_.reset();
    }

    void ItOpensAsLargeAsItWas()
    {
        carnet_->Open();
        const QSize larger = carnet_->size() + QSize(0, 9);
        carnet_->resize(larger);
        carnet_->close();
        carnet_.emplace(*book_);
        carnet_->Open();
        QCOMPARE(carnet_->size(), larger);
    }

    void Controls_data()
    {
        QTest::addColumn<QString>("text");
        for (const auto &[name, text] : {std::pair("CbCourbe", "Courbe"), std::pair("CbEnlever", "Enlever…"),
                                         std::pair("CbRanger", "Attribuer"), std::pair("CbNouveau", "Nouveau"),
                                         std::pair("CbSupprimer", "Enlever…"), std::pair("CbTravaux", "Ses travaux"),
                                         std::pair("CbRapport", "Rapport PDF…"), std::pair("CbRetour", "Retour")})
            QTest::newRow(name) << QString::fromUtf8(text);
    }
    void Controls()
    {
        QFETCH(QString, text);
        QCOMPARE(Button(QTest::currentDataTag())->text(), text);
    }

    void AnEmptyLogbook()
    {
        QCOMPARE(carnet_->windowTitle(), QStringLiteral("Carnet"));
        QCOMPARE(Rows(), 0);
        QCOMPARE(Find<QLabel>("Nombre")->text(), QStringLiteral("aucun travail"));
        for (const char *button : {"CbCourbe", "CbEnlever", "CbRanger", "CbSupprimer", "CbTravaux", "CbRapport"})
            QVERIFY(!Button(button)->isEnabled());
        QVERIFY(Find<QLabel>("Resume")->text().contains(QStringLiteral("« Nouveau »")));
    }

    void ARunIsListedAsSoonAsItIsEntered()
    {
        RunEntry run = Enter(3, RunNews::Kind::Charge, QStringLiteral("Avion"));
        run.end = RunEntry::End::Cause;
        run.why = QStringLiteral("mise en veille");
        run.figures.wattHoursIn = 12.3456;
        run.figures.highestTemperature = 41.4;
        run.figures.lowestVolts = 5;
        book_->Enter(run);
        QCOMPARE(Rows(), 1);
        QCOMPARE(Cell(0, "Début"), QStringLiteral("03/03/2026 10:00"));
        QCOMPARE(Cell(0, "Type"), QStringLiteral("charge"));
        QCOMPARE(Cell(0, "Accu"), QStringLiteral("Avion"));
        QCOMPARE(Cell(0, "Fin"), QStringLiteral("arrêté : mise en veille"));
        QCOMPARE(Cell(0, "Durée"), QStringLiteral("1 h 12"));
        QCOMPARE(Cell(0, "Chargé\nmAh"), QStringLiteral("1480"));
        QCOMPARE(Cell(0, "Déchargé\nmAh"), QString());
        QCOMPARE(Cell(0, "Chargé\nWh"), QStringLiteral("12.35"));
        QCOMPARE(Cell(0, "T max.\n°C"), QStringLiteral("41"));
        QCOMPARE(Cell(0, "V min.\nV"), QStringLiteral("5.00"));
        QCOMPARE(Cell(0, "V max.\nV"), QString());
    }

    void Filters()
    {
        Enter(1, RunNews::Kind::Charge, QStringLiteral("A"));
        Enter(2, RunNews::Kind::Discharge, QStringLiteral("A"), 1400);
        Enter(3, RunNews::Kind::Capacity, QStringLiteral("B"), 1500);
        Enter(4, RunNews::Kind::Charge, {});
        QCOMPARE(Rows(), 4);
        QCOMPARE(Find<QLabel>("Nombre")->text(), QStringLiteral("4 travaux"));
        Choose("SelAccu", QStringLiteral("A"));
        QCOMPARE(Rows(), 2);
        Choose("SelType", QStringLiteral("décharge"));
        QCOMPARE(Rows(), 1);
        QCOMPARE(Cell(0, "Début"), QStringLiteral("02/03/2026 10:00"));
        Choose("SelAccu", QStringLiteral("sans accu"));
        QCOMPARE(Rows(), 0);
        Choose("SelType", QStringLiteral("tous"));
        QCOMPARE(Rows(), 1);
        Choose("SelAccu", QStringLiteral("tous"));
        Choose("SelType", QStringLiteral("mesure de capacité"));
        QCOMPARE(Rows(), 1);
        Choose("SelType", QStringLiteral("tous"));
        Find<QDateEdit>("Depuis")->setDate(QDate(2026, 3, 2));
        QCOMPARE(Rows(), 4); // until it is ticked
        Find<QCheckBox>("DepuisActif")->click();
        QCOMPARE(Rows(), 3);
        Find<QCheckBox>("JusquaActif")->click();
        Find<QDateEdit>("Jusqua")->setDate(QDate(2026, 3, 3));
        QCOMPARE(Rows(), 2);
    }

    void TheChoiceStaysWhenARunIsEntered()
    {
        Enter(1, RunNews::Kind::Charge, QStringLiteral("A"));
        Enter(2, RunNews::Kind::Charge, QStringLiteral("B"));
        Choose("SelAccu", QStringLiteral("A"));
        Table()->selectRow(0);
        Enter(3, RunNews::Kind::Charge, QStringLiteral("A"));
        QCOMPARE(Rows(), 2);
        QCOMPARE(Table()->selectionModel()->selectedRows().size(), 1);
        QCOMPARE(Table()->selectionModel()->selectedRows()[0].row(), 1);
    }

    void TheCurveOfARun()
    {
        QSignalSpy wanted(&*carnet_, &Carnet::CurveWanted);
        RunEntry run = SomeRun(1, RunEntry::End::Rule);
        run.log = OwnLogs::Charge();
        book_->Enter(run);
        Table()->selectRow(0);
        Button("CbCourbe")->click();
        QCOMPARE(wanted.size(), 1);
        QCOMPARE(wanted[0][0].toString(), run.log);
        Q_EMIT Table()->doubleClicked(Table()->model()->index(0, 0));
        QCOMPARE(wanted.size(), 2);

        QFile::remove(run.log);
        Button("CbCourbe")->click();
        QCOMPARE(wanted.size(), 2);
        QVERIFY(BoxTexts().join(u' ').contains(QStringLiteral("n'est plus là : ") + run.log));
        AnswerBoxes();
        run.log.clear();
        book_->Enter(run);
        Button("CbCourbe")->click();
        QVERIFY(BoxTexts().join(u' ').contains(QStringLiteral("n'a pas de journal")));
    }

    void NothingIsRemovedWithoutBeingAsked()
    {
        Enter(1, RunNews::Kind::Charge, QStringLiteral("A"));
        Enter(2, RunNews::Kind::Charge, QStringLiteral("A"));
        Table()->selectRow(0);
        Button("CbEnlever")->click();
        QCOMPARE(Rows(), 2);
        QCOMPARE(OpenBoxes().size(), 1);
        OpenBoxes().constFirst()->close();
        QCOMPARE(Rows(), 2);
        Button("CbEnlever")->click();
        AnswerBox(QStringLiteral("Enlever"));
        QCOMPARE(Rows(), 1);
        QCOMPARE(Cell(0, "Début"), QStringLiteral("01/03/2026 10:00"));

        Button("CbSupprimer")->click();
        QCOMPARE(book_->Packs().size(), size_t(1));
        AnswerBox(QStringLiteral("Enlever"));
        QVERIFY(book_->Packs().empty());
        QCOMPARE(Cell(0, "Accu"), QString());
    }

    void RunsAreGivenAPack()
    {
        Enter(1, RunNews::Kind::Charge, {});
        Enter(2, RunNews::Kind::Charge, {});
        Table()->selectAll();
        Find<QComboBox>("SelRanger")->setEditText(QStringLiteral("Neuf"));
        Button("CbRanger")->click();
        QCOMPARE(Cell(0, "Accu"), QStringLiteral("Neuf"));
        QCOMPARE(Cell(1, "Accu"), QStringLiteral("Neuf"));
        QCOMPARE(book_->Packs().size(), size_t(1));
    }

    // ---- packs

    void APackIsMadeAndDescribed()
    {
        Button("CbNouveau")->click();
        auto *name = Find<QLineEdit>("Nom");
        QCOMPARE(name->text(), QStringLiteral("Accu 1"));
        name->setText(QStringLiteral("Avion"));
        Q_EMIT name->editingFinished();
        Find<QComboBox>("Chimie")->setEditText(QStringLiteral("NiMH"));
        Q_EMIT Find<QComboBox>("Chimie")->lineEdit()->editingFinished();
        Find<QSpinBox>("Elements")->setValue(6);
        Find<QSpinBox>("Nominale")->setValue(2000);
        Find<QDateEdit>("Date")->setDate(QDate(2025, 1, 2));
        Find<QCheckBox>("DateActive")->click();
        auto *note = Find<QLineEdit>("Note");
        note->setText(QStringLiteral("bleu"));
        Enter(1, RunNews::Kind::Charge, QStringLiteral("Autre")); // meanwhile
        QCOMPARE(note->text(), QStringLiteral("bleu"));
        Q_EMIT note->editingFinished();
        const Pack pack{QStringLiteral("Avion"), QStringLiteral("NiMH"), 6, 2000,
                        QDate(2025, 1, 2),       QStringLiteral("bleu")};
        QCOMPARE(book_->FindPack(QStringLiteral("Avion")), pack);
        Find<QCheckBox>("DateActive")->click();
        QVERIFY(!book_->FindPack(QStringLiteral("Avion"))->since.isValid());
    }

    void ANameThatIsTakenIsRefusedAndStaysToBeChanged()
    {
        book_->SavePack({QStringLiteral("A"), {}, 0, 0, {}, {}});
        book_->SavePack({QStringLiteral("B"), {}, 0, 0, {}, {}});
        auto *name = Find<QLineEdit>("Nom");
        Find<QListWidget>("Liste")->setCurrentRow(0);
        name->setText(QStringLiteral("B"));
        Q_EMIT name->editingFinished();
        QCOMPARE(BoxTexts(), QStringList{QStringLiteral("Il y a déjà un accu « B ».")});
        QCOMPARE(book_->Packs().at(0).name, QStringLiteral("A"));
        QCOMPARE(Find<QListWidget>("Liste")->currentItem()->text(), QStringLiteral("A"));
        QCOMPARE(name->text(), QStringLiteral("B"));
    }

    void HowAPackAges()
    {
        Enter(1, RunNews::Kind::Discharge, QStringLiteral("A"), 1600);
        Enter(2, RunNews::Kind::Charge, QStringLiteral("A"));
        Enter(5, RunNews::Kind::Capacity, QStringLiteral("A"), 1480);
        QCOMPARE(Points("Capacité"), QVector<QPointF>({{1, 1600}, {2, 1480}}));
        QCOMPARE(Points("Résistance"), QVector<QPointF>({{2, 45}}));
        QVERIFY(!Drawn("Part de la nominale")); // of what?
        QCOMPARE(Find<QLabel>("Resume")->text(), QStringLiteral("2 cycles ; le dernier, du 05/03/2026 : 1480 mAh"));
        Find<QSpinBox>("Nominale")->setValue(2000);
        QCOMPARE(Points("Part de la nominale"), QVector<QPointF>({{1, 80}, {2, 74}}));
        QCOMPARE(Points("Nominale"), QVector<QPointF>({{1, 100}, {2, 100}}));
        QCOMPARE(Drawn("Capacité")->Unit(), QStringLiteral("mAh"));
        QVERIFY(Find<QLabel>("Resume")->text().endsWith(QStringLiteral("1480 mAh, 74 % de la capacité nominale")));
        Button("CbTravaux")->click();
        QCOMPARE(Find<QComboBox>("SelAccu")->currentText(), QStringLiteral("A"));
        QCOMPARE(Find<QTabWidget>("Onglets")->currentIndex(), 0);
        QCOMPARE(Rows(), 3);
    }

    void TheReport()
    {
        for (int day = 1; day < 28; ++day)
            Enter(day, RunNews::Kind::Capacity, QStringLiteral("A"), 1600 - 5 * day);
        book_->SavePack({QStringLiteral("A"), QStringLiteral("NiMH"), 6, 2000, QDate(2025, 1, 2), QString(1000, u'n')},
                        QStringLiteral("A"));
        const QString path = logs_->folder.filePath(QStringLiteral("a.pdf"));
        SaveReport(path);
        const QByteArray pdf = BytesOf(path);
        QVERIFY(pdf.startsWith("%PDF") && pdf.trimmed().endsWith("%%EOF"));
        QCOMPARE(pdf.count("/Type /Page\n"), 1); // and no more
        QVERIFY(pdf.size() > 10000);
    }

    void AReportThatDoesNotFitTheDiskLeavesTheFormerOne()
    {
        Enter(1, RunNews::Kind::Capacity, QStringLiteral("A"), 1600);
        const QString path = logs_->folder.filePath(QStringLiteral("a.pdf"));
        WriteBytes(path, "former");
        rlimit before{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
        const rlimit full{4096, before.rlim_max};
        signal(SIGXFSZ, SIG_IGN);
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
        SaveReport(path);
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &before), 0);
        QCOMPARE(BytesOf(path), QByteArray("former"));
        QCOMPARE(OpenBoxes().size(), 1);
    }

    void ALogbookThatCannotBeReadSaysSo()
    {
        carnet_->close();
        Stranger().Do(QStringLiteral("PRAGMA user_version = 99"));
        carnet_.reset();
        book_.reset();
        book_.emplace();
        carnet_.emplace(*book_);
        carnet_->Open();
        QVERIFY(Find<QLabel>("Etat")->text().contains(QStringLiteral("version plus récente")));
        QCOMPARE(OpenBoxes().size(), 0);
    }
};

REGISTER_TEST(TestCarnet)
#include "tst_carnet.moc"
