// Report chains to Python exceptions and warnings, and the per-handle file locks.
#include <map>

#include "calls.hpp"

namespace orvik_py {

namespace {

// Reports printed by the library on this thread since the last FlushWarnings, each chain
// outermost first. Filled inside the library's callback section without the GIL: nothing
// here waits for the interpreter, so no thread holds the GIL while waiting for that section.
thread_local std::vector<std::vector<ReportRecord>> pendingWarnings;

void Collect(void *, Oerr_ErrorReport *report, Oerr_ErrorReportingMode, Oerr_ErrorReport **) {
    try {
        std::vector<ReportRecord> chain;
        for (const Oerr_ErrorReport *r = report; r; r = r->next) {
            chain.push_back({r->function ? r->function : L"", static_cast<long>(r->number),
                             static_cast<long>(r->kind), r->message ? r->message : L""});
        }
        pendingWarnings.push_back(std::move(chain));
    } catch (...) {
        // Out of memory while keeping a warning: it is lost, the call goes on.
    }
}

py::list RecordsToPython(const std::vector<ReportRecord> &records) {
    py::list out;
    for (const ReportRecord &r : records) {
        out.append(py::make_tuple(py::cast(r.function), r.number, py::cast(r.message)));
    }
    return out;
}

// The chain in brief form: the messages outermost first, then where the first cause arose.
std::wstring Brief(const std::vector<ReportRecord> &records) {
    std::wstring text;
    for (const ReportRecord &r : records) {
        const std::wstring part =
            !r.message.empty() ? r.message : (r.function.empty() ? L"" : r.function + L" failed");
        if (part.empty()) continue;
        if (!text.empty()) text += L": ";
        text += part;
    }
    if (!records.empty() && !records.back().function.empty()) {
        text += L" (" + records.back().function + L", number " +
                std::to_wstring(records.back().number) + L")";
    }
    return text.empty() ? std::wstring(L"the library reported a failure") : text;
}

std::mutex locksMutex;
std::map<Ohfa_File *, std::weak_ptr<FileMutex>> &Locks() {
    static auto *locks = new std::map<Ohfa_File *, std::weak_ptr<FileMutex>>;
    return *locks;
}

} // namespace

std::vector<ReportRecord> TakeChain(Oerr_ErrorReport *&chain) noexcept {
    std::vector<ReportRecord> records;
    try {
        for (const Oerr_ErrorReport *r = chain; r; r = r->next) {
            records.push_back({r->function ? r->function : L"", static_cast<long>(r->number),
                               static_cast<long>(r->kind), r->message ? r->message : L""});
        }
    } catch (...) {
        records.clear();
        records.push_back({L"", OERR_NUMBER_OUT_OF_MEMORY, OERR_KIND_ERROR, L"Out of memory"});
    }
    oerr_DeleteErrorReportEx(&chain);
    return records;
}

void InstallReportCollector() { oerr_SetAltErrorFunction(Collect, nullptr); }

void FlushWarnings() {
    if (pendingWarnings.empty()) return;
    std::vector<std::vector<ReportRecord>> chains;
    chains.swap(pendingWarnings);
    py::object category = py::module_::import("orvik._errors").attr("OrvikWarning");
    py::object warn = py::module_::import("warnings").attr("warn");
    for (const auto &chain : chains) {
        warn(py::cast(Brief(chain)), category, 2);
    }
}

void Raise(ReportError error) { throw error; }

void RegisterTranslator() {
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const ReportError &e) {
            py::module_ errors = py::module_::import("orvik._errors");
            py::object cls = errors.attr(e.fileError ? "FileError" : "Error");
            py::object exc = cls(py::cast(Brief(e.records)), RecordsToPython(e.records));
            PyErr_SetObject(cls.ptr(), exc.ptr());
        }
    });
}

std::shared_ptr<FileMutex> FileLock(Ohfa_File *file, bool readOnlyIfNew) {
    std::lock_guard<std::mutex> held(locksMutex);
    auto &slot = Locks()[file];
    std::shared_ptr<FileMutex> lock = slot.lock();
    if (!lock) {
        lock = std::make_shared<FileMutex>();
        lock->readOnly = readOnlyIfNew;
        slot = lock;
    }
    return lock;
}

void ForgetFileLock(Ohfa_File *file) {
    std::lock_guard<std::mutex> held(locksMutex);
    auto it = Locks().find(file);
    if (it != Locks().end() && it->second.expired()) Locks().erase(it);
}

} // namespace orvik_py
