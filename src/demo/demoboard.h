#pragma once

#include <QProcess>

/// The virtual board that "--demo" connects to: a process of its own, which ends with this program, however that ends.
class DemoBoard : public QObject
{
    Q_OBJECT

public:
    /// Starts the board, which runs `timeScale` times faster than real time.
    explicit DemoBoard(double timeScale);
    ~DemoBoard() override;

Q_SIGNALS:
    /// The board can be reached at this port.
    void Ready(const QString &port);
    /// The board does not run; why, in French.
    void Failed(const QString &reason);

private:
    void ReadPort();

    QProcess process_;
};
