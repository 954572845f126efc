// The engine on this machine: Tesseract, from its module
// (tesseract_module.h), loaded with dlopen at the first recognition from
// `<bindir>/../<libdir>/kernova`, the install prefix or the build tree.
// Each recognition runs as a job (a thread of its own in the programs); one
// started Tesseract is kept per language set and released, with the heap
// trimmed, 60 s after its last use (a single-shot run-loop timer).
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/log.h"
#include "base/paths.h"
#include "base/run_loop.h"
#include "base/worker.h"
#include "desktop/ocr/tesseract_module.h"
#include "share/ocr_engine.h"

namespace kernova::desktop {

class TesseractEngine final : public OcrEngine {
  public:
    static constexpr double kReleaseAfter = 60;
    using StartJob = std::function<std::unique_ptr<WorkerJob>(WorkerStep)>;

    // `startJob` runs each recognition (startThreadJob in the programs);
    // `env` gives TESSDATA_PREFIX; the module is looked for in `moduleFiles`.
    TesseractEngine(RunLoop& loop, const Logger& log, StartJob startJob,
                    EnvironmentLookup env = processEnvironment(),
                    std::vector<std::string> moduleFiles = moduleCandidates());
    ~TesseractEngine() override;

    std::unique_ptr<OcrTask> recognise(std::shared_ptr<const ui::Image> image,
                                       std::vector<std::string> languages,
                                       std::function<void(OcrOutcome)> done) override;

    // Tesseracts kept started (for tests and the benchmark).
    std::size_t keptReaders() const { return kept_.size(); }
    // Where the module is looked for, first to last.
    static std::vector<std::string> moduleCandidates();

  private:
    struct Request;
    struct Kept {
        std::unique_ptr<TesseractReader> reader;
        TimerId release = 0;
    };
    MakeTesseractReaderFunction module();
    void answerLater(const std::shared_ptr<Request>& request);
    void complete(const std::shared_ptr<Request>& request);
    void keep(const std::string& languages, std::unique_ptr<TesseractReader> reader);

    RunLoop& loop_;
    const Logger& log_;
    StartJob startJob_;
    EnvironmentLookup env_;
    std::vector<std::string> moduleFiles_;
    bool moduleTried_ = false;
    MakeTesseractReaderFunction make_ = nullptr;
    std::map<std::string, Kept> kept_;
    // Last: their jobs end (and join) before the rest goes.
    std::vector<std::shared_ptr<Request>> requests_;
};

}  // namespace kernova::desktop
