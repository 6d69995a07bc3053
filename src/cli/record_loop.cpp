#include "record_loop.h"

#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <thread>
#include <vector>

#include "terminal.h"

namespace OstraneCli {

using OstraneRecord::InputError;
using OstraneRecord::OutputFile;
using OstraneRecord::RawRecord;

namespace {

// Of one batch: enough that taking turns costs little, and little enough for many threads.
constexpr size_t MAX_BATCH_BYTES = size_t{1} << 16;
constexpr size_t MAX_BATCH_RECORDS = 1024;

}  // namespace

StopSignal::~StopSignal() {
    for (int& end : m_ends) {
        Close(end);
    }
}

bool StopSignal::Open() {
    return pipe2(m_ends, O_CLOEXEC) == 0;
}

void StopSignal::Close(int& end) {
    if (end >= 0) {
        close(end);
    }
    end = -1;
}

RecordLoop::RecordLoop(const Arguments& arguments, Session& session, const Destinations& destinations)
    : m_arguments(arguments), m_session(session), m_to(destinations) {
    m_wanted.records = m_to.records != nullptr;
    m_wanted.elements = m_to.elements != nullptr;
    m_wanted.report = m_to.report->IsOpen();
    m_isSlow = m_session.IsStream() && m_session.InputSize() == 0;
}

int RecordLoop::Run() {
    StartProgress();
    if (m_arguments.threads > 1 && m_session.IsStream()) {
        RunThreads();
    } else {
        RunGuarded(&RecordLoop::RunAlone);
    }
    ClearStatus();
    if (m_hasStopped) {
        return m_status;
    }
    return m_totals.failed == 0 ? EXIT_DONE : EXIT_STATEMENT_FAILED;
}

// Nothing else of the run may write to a terminal: a line that is drawn again and again would stand in
// between. Errors clear it first; what the log writes does not.
void RecordLoop::StartProgress() {
    const auto isTerminal = [](const OutputFile* out) { return out != nullptr && out->IsTerminal(); };
    if (m_arguments.hasProgress && m_session.IsStream() && CanShowStatus() && m_arguments.log == LogLevel::Off &&
        !isTerminal(m_to.records) && !isTerminal(m_to.elements) && !m_to.report->IsTerminal()) {
        m_pProgress = std::make_unique<Progress>(m_session.InputSize(), std::chrono::steady_clock::now());
    }
}

// What a thread throws must not end the process before the others have ended.
void RecordLoop::RunGuarded(void (RecordLoop::*body)()) {
    try {
        (this->*body)();
    } catch (const std::exception& exception) {
        const std::lock_guard<std::mutex> lock(m_writeMutex);
        PrintUsageError(std::string("cannot go on: ") + exception.what());
        Stop(EXIT_NOT_POSSIBLE);
    }
}

// Record by record, in the reader's own memory.
void RecordLoop::RunAlone() {
    RecordWorker worker(m_arguments, m_session, m_wanted);
    RecordBatch batch;
    while (!m_isAtEnd && !m_hasStopped) {
        Read(false, batch);
        worker.Take(batch);
        Emit(batch);
    }
}

void RecordLoop::RunThreads() {
    if (m_stop.Open()) {
        m_session.Reader().EndWith(m_stop.WaitingEnd());
    }
    std::vector<std::thread> threads;
    try {
        while (threads.size() + 1 < static_cast<size_t>(m_arguments.threads)) {
            threads.emplace_back([this] { RunGuarded(&RecordLoop::Work); });
        }
    } catch (const std::exception&) {
        // The system has no more threads to give: those that there are do the work.
    }
    RunGuarded(&RecordLoop::Work);
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// One thread's part.
void RecordLoop::Work() {
    RecordWorker worker(m_arguments, m_session, m_wanted);
    RecordBatch batch;
    for (;;) {
        uint64_t turn = 0;
        {
            const std::lock_guard<std::mutex> lock(m_readMutex);
            if (m_isAtEnd || m_hasStopped) {
                return;
            }
            Read(true, batch);
            turn = m_nextTurn++;
        }
        worker.Take(batch);
        {
            std::unique_lock<std::mutex> lock(m_writeMutex);
            m_turnChanged.wait(lock, [&] { return m_turn == turn || m_hasStopped; });
            if (m_hasStopped) {
                return;
            }
            Emit(batch);
            ++m_turn;
        }
        m_turnChanged.notify_all();
    }
}

// The next record, and the others that are at hand: what comes slowly is not held back until there are many.
void RecordLoop::Read(bool isShared, RecordBatch& batch) {
    batch.Clear();
    OstraneRecord::RecordReader& reader = m_session.Reader();
    do {
        bool hasRecord = false;
        if (reader.Next(hasRecord, batch.inputEnd) != 0 || !hasRecord) {
            m_isAtEnd = true;
            break;
        }
        batch.records.push_back(reader.Current());
        if (isShared) {
            batch.bytes.append(batch.records.back().data, batch.records.back().size);
        }
    } while (isShared && reader.IsNextAtHand() && batch.bytes.size() < MAX_BATCH_BYTES &&
             batch.records.size() < MAX_BATCH_RECORDS);
    batch.offset = reader.Offset();
    batch.mayWait = m_isSlow && !reader.IsNextAtHand();
    // Only now do the copies stay where they are.
    size_t begin = 0;
    for (RawRecord& record : batch.records) {
        record.data = isShared ? batch.bytes.data() + begin : record.data;
        begin += record.size;
    }
}

void RecordLoop::Emit(const RecordBatch& batch) {
    for (const Notice& notice : batch.notices) {
        const bool isKnown = notice.kind == Notice::Kind::UnknownFields && m_hasToldUnknown;
        m_hasToldUnknown = m_hasToldUnknown || notice.kind == Notice::Kind::UnknownFields;
        if (!isKnown) {
            notice.Print();
        }
    }
    m_totals.Add(batch.totals);
    int status = batch.report.empty() ? EXIT_DONE : m_to.report->Add(batch.report);
    if (status == EXIT_DONE) {
        status = Write(m_to.elements, batch.elements);
    }
    if (status == EXIT_DONE) {
        status = Write(m_to.records, batch.changed);
    }
    if (status == EXIT_DONE) {
        status = batch.status;
    }
    if (status == EXIT_DONE && batch.mayWait) {
        status = Flush();
    }
    if (status == EXIT_DONE && batch.inputEnd.code != 0) {
        PrintInputError(batch.inputEnd);
        status = EXIT_NOT_POSSIBLE;
    }
    if (status != EXIT_DONE) {
        Stop(status);
        return;
    }
    ShowProgress(batch.offset);
}

int RecordLoop::Write(OutputFile* out, const std::string& bytes) {
    InputError error;
    if (bytes.empty() || out->Write(bytes, error) == 0) {
        return EXIT_DONE;
    }
    PrintOutputError(*out, error);
    return EXIT_NOT_POSSIBLE;
}

// Whoever types records, or waits at the other end of a pipe, sees what became of them before the next ones.
int RecordLoop::Flush() {
    for (OutputFile* out : {m_to.elements, m_to.records}) {
        InputError error;
        if (out != nullptr && out->Flush(error) != 0) {
            PrintOutputError(*out, error);
            return EXIT_NOT_POSSIBLE;
        }
    }
    return EXIT_DONE;
}

// The first to stop decides how the run ends.
void RecordLoop::Stop(int status) {
    if (!m_hasStopped) {
        m_status = status;
        m_hasStopped = true;
        m_stop.Wake();
    }
    m_turnChanged.notify_all();
}

void RecordLoop::ShowProgress(uint64_t offset) {
    if (m_pProgress == nullptr) {
        return;
    }
    const Progress::Time now = std::chrono::steady_clock::now();
    if (m_pProgress->IsDue(now)) {
        ShowStatus(m_pProgress->Line(offset, m_totals.records, now, StatusWidth()));
    }
}

}  // namespace OstraneCli
