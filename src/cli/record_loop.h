// Takes the records of the input through the statements to where they go, in their order.
#ifndef OSTRANE_CLI_RECORD_LOOP_H_
#define OSTRANE_CLI_RECORD_LOOP_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "arguments.h"
#include "progress.h"
#include "record/output_file.h"
#include "record_worker.h"
#include "report.h"
#include "session.h"

namespace OstraneCli {

// What becomes of a record and of what is selected in it.
struct Destinations {
    OstraneRecord::OutputFile* records = nullptr;   // null: the records go nowhere
    OstraneRecord::OutputFile* elements = nullptr;  // null: the elements go nowhere
    Report* report = nullptr;                       // never null
};

// Wakes a thread that waits for input: a pipe without data whose other end is closed.
class StopSignal {
public:
    StopSignal() = default;
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    bool Open();
    int WaitingEnd() const { return m_ends[0]; }
    void Wake() { Close(m_ends[1]); }

private:
    static void Close(int& end);

    int m_ends[2] = {-1, -1};
};

// For one run. Every thread reads some records, works on them, and waits for its turn to write: what is held
// in memory is one batch a thread, whatever the length of the input.
class RecordLoop {
public:
    RecordLoop(const Arguments& arguments, Session& session, const Destinations& destinations);

    // Returns an exit status, everything that went wrong told. EXIT_STATEMENT_FAILED also when failing
    // records were passed over, as --keep-going asks: HasStopped tells the two apart.
    int Run();
    bool HasStopped() const { return m_hasStopped; }
    const Totals& Sums() const { return m_totals; }

private:
    void StartProgress();
    void RunGuarded(void (RecordLoop::*body)());
    void RunAlone();
    void RunThreads();
    void Work();
    void Read(bool isShared, RecordBatch& batch);
    void Emit(const RecordBatch& batch);
    int Write(OstraneRecord::OutputFile* out, const std::string& bytes);
    int Flush();
    void Stop(int status);
    void ShowProgress(uint64_t offset);

    const Arguments& m_arguments;
    Session& m_session;
    Destinations m_to;
    Wanted m_wanted;
    bool m_isSlow = false;  // a pipe or a terminal: the next record may be long in coming

    // Of the reader's end, under m_readMutex where threads meet.
    std::mutex m_readMutex;
    bool m_isAtEnd = false;
    uint64_t m_nextTurn = 0;

    // Of the writer's end, under m_writeMutex.
    std::mutex m_writeMutex;
    std::condition_variable m_turnChanged;
    uint64_t m_turn = 0;  // of the batch that may be written
    Totals m_totals;
    int m_status = EXIT_DONE;
    bool m_hasToldUnknown = false;
    std::unique_ptr<Progress> m_pProgress;  // null: none is shown

    std::atomic<bool> m_hasStopped{false};
    StopSignal m_stop;
};

}  // namespace OstraneCli

#endif  // OSTRANE_CLI_RECORD_LOOP_H_
