#pragma once
// kestro-unit-sim as a child process of a test, started and waited for until it says "ready",
// and stopped (SIGTERM, then SIGKILL) when the test lets go of it.

#include <QByteArray>
#include <QProcess>
#include <QStringList>

namespace testsupport {

class SimProcess
{
public:
    explicit SimProcess(QString program)
        : m_program(std::move(program))
    {}
    ~SimProcess() { stop(); }
    SimProcess(const SimProcess &) = delete;
    SimProcess &operator=(const SimProcess &) = delete;

    // Starts it and waits for its "ready" line; false when it exits first.
    bool start(const QStringList &args)
    {
        m_process.setProgram(m_program);
        m_process.setArguments(args);
        m_process.start();
        if (!m_process.waitForStarted(10000))
            return false;
        for (int i = 0; i < 300 && !m_out.contains("\nready\n") && !m_out.startsWith("ready\n"); ++i) {
            if (m_process.state() == QProcess::NotRunning)
                return false;
            m_process.waitForReadyRead(100);
            m_out += m_process.readAllStandardOutput();
        }
        return m_out.contains("ready\n");
    }

    void stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.terminate();
        if (!m_process.waitForFinished(10000))
            m_process.kill();
        m_process.waitForFinished(2000);
        m_out += m_process.readAllStandardOutput();
    }

    QProcess &process() { return m_process; }
    QByteArray output() const { return m_out; }

private:
    QString m_program;
    QProcess m_process;
    QByteArray m_out;
};

} // namespace testsupport
