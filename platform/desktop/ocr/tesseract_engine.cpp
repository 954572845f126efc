#include "desktop/ocr/tesseract_engine.h"

#include <dlfcn.h>
#include <malloc.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/text.h"

namespace kernova::desktop {
namespace {

constexpr const char* kLog = "ocr";

std::string joined(const std::vector<std::string>& languages) {
    std::string out;
    for (const std::string& language : languages)
        out += (out.empty() ? "" : "+") + language;
    return out;
}

}  // namespace

struct TesseractEngine::Request {
    std::shared_ptr<const ui::Image> image;
    std::string languages;  // "chi_sim+eng"
    std::unique_ptr<TesseractReader> reader;
    OcrOutcome outcome;  // written by the job, read once it has posted
    std::function<void(OcrOutcome)> done;
    std::unique_ptr<WorkerJob> job;
};

namespace {

// Dropping the task drops the answer; the recognition itself runs on.
class Task final : public OcrTask {
  public:
    explicit Task(std::function<void()> drop) : drop_(std::move(drop)) {}
    ~Task() override { drop_(); }

  private:
    std::function<void()> drop_;
};

}  // namespace

TesseractEngine::TesseractEngine(RunLoop& loop, const Logger& log, StartJob startJob,
                                 EnvironmentLookup env, std::vector<std::string> moduleFiles)
    : loop_(loop),
      log_(log),
      startJob_(std::move(startJob)),
      env_(std::move(env)),
      moduleFiles_(std::move(moduleFiles)) {}

TesseractEngine::~TesseractEngine() {
    loop_.cancelAll(this);
    requests_.clear();  // waits for recognitions under way
    if (!kept_.empty()) {
        kept_.clear();
        ::malloc_trim(0);
    }
}

std::vector<std::string> TesseractEngine::moduleCandidates() {
    std::vector<std::string> out;
    auto add = [&](const std::filesystem::path& dir) {
        std::string path = (dir / kTesseractModuleFile).lexically_normal().string();
        if (std::find(out.begin(), out.end(), path) == out.end()) out.push_back(path);
    };
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) add(self.parent_path() / KERNOVA_OCR_MODULE_RELATIVE_DIR);
    add(KERNOVA_OCR_MODULE_INSTALL_DIR);
    add(KERNOVA_OCR_MODULE_BUILD_DIR);
    return out;
}

MakeTesseractReaderFunction TesseractEngine::module() {
    if (moduleTried_) return make_;
    moduleTried_ = true;
    for (const std::string& path : moduleFiles_) {
        std::error_code error;
        if (!std::filesystem::exists(path, error)) continue;
        // Kept loaded: Tesseract keeps state of its own for the process.
        void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        if (handle == nullptr) {
            log_.warn(kLog, "cannot load " + path + ": " + ::dlerror());
            continue;
        }
        make_ = reinterpret_cast<MakeTesseractReaderFunction>(
            ::dlsym(handle, kMakeTesseractReaderSymbol));
        if (make_ != nullptr) {
            log_.info(kLog, "Tesseract loaded from " + path);
            return make_;
        }
        log_.warn(kLog, path + " is not the Tesseract module");
    }
    log_.warn(kLog, std::string("no Tesseract module (") + kTesseractModuleFile +
                        "): nothing is recognised here");
    return nullptr;
}

std::unique_ptr<OcrTask> TesseractEngine::recognise(std::shared_ptr<const ui::Image> image,
                                                    std::vector<std::string> languages,
                                                    std::function<void(OcrOutcome)> done) {
    auto request = std::make_shared<Request>();
    request->image = std::move(image);
    request->done = std::move(done);
    requests_.push_back(request);
    auto task = std::make_unique<Task>([weak = std::weak_ptr<Request>(request)] {
        if (auto r = weak.lock()) r->done = {};
    });

    const ui::PixelBuffer* pixels = request->image ? request->image->pixels() : nullptr;
    if (pixels == nullptr || pixels->width <= 0 || pixels->height <= 0 ||
        pixels->argb.size() !=
            static_cast<std::size_t>(pixels->width) * static_cast<std::size_t>(pixels->height)) {
        log_.info(kLog, "no pixels to recognise");
        answerLater(request);
        return task;
    }
    const std::optional<std::string> prefix = env_ ? env_("TESSDATA_PREFIX") : std::nullopt;
    const std::filesystem::path folder = tesseractDataFolder(prefix ? prefix->c_str() : nullptr);
    const InstalledLanguages found = findInstalledLanguages(folder, languages);
    if (found.installed.empty()) {
        request->outcome.kind = OcrOutcome::Kind::missingData;
        request->outcome.missingLanguage = found.missing.empty() ? "eng" : found.missing.front();
        answerLater(request);
        return task;
    }
    request->languages = joined(found.installed);
    if (!found.missing.empty())
        log_.info(kLog, "no OCR data for " + joined(found.missing) + " in " + folder.string() +
                            ": recognising with " + request->languages);
    MakeTesseractReaderFunction make = module();
    if (make == nullptr) {
        answerLater(request);
        return task;
    }
    if (auto it = kept_.find(request->languages); it != kept_.end()) {
        loop_.cancel(it->second.release);
        request->reader = std::move(it->second.reader);
        kept_.erase(it);
    }
    // The job touches only its request, which lives until the job has ended.
    request->job = startJob_([this, make, folder = folder.string(), r = request.get(),
                              weak = std::weak_ptr<Request>(request)] {
        if (!r->reader) r->reader.reset(make(folder.c_str(), r->languages.c_str()));
        const ui::PixelBuffer& p = *r->image->pixels();
        if (r->reader && r->reader->read(p.argb.data(), p.width, p.height, r->outcome.lines)) {
            for (std::string& line : r->outcome.lines)
                line = withoutBlanksBetweenCjk(repairUtf8(line));
            r->outcome.kind = OcrOutcome::Kind::lines;
        }
        loop_.post([this, weak] {
            if (auto alive = weak.lock()) complete(alive);
        });
        return false;
    });
    return task;
}

void TesseractEngine::answerLater(const std::shared_ptr<Request>& request) {
    loop_.after(0, this, [this, weak = std::weak_ptr<Request>(request)] {
        if (auto r = weak.lock()) complete(r);
    });
}

void TesseractEngine::complete(const std::shared_ptr<Request>& request) {
    request->job.reset();
    if (request->reader) {
        keep(request->languages, std::move(request->reader));
    } else if (!request->languages.empty()) {
        log_.info(kLog, "Tesseract could not start on " + request->languages);
    }
    std::erase(requests_, request);
    auto done = std::move(request->done);
    request->done = {};
    if (done) done(std::move(request->outcome));
}

void TesseractEngine::keep(const std::string& languages, std::unique_ptr<TesseractReader> reader) {
    Kept& kept = kept_[languages];
    if (kept.reader) {
        // Another recognition kept one meanwhile: one is enough.
        loop_.cancel(kept.release);
        reader.reset();
        ::malloc_trim(0);
    } else {
        kept.reader = std::move(reader);
    }
    kept.release = loop_.after(kReleaseAfter, this, [this, languages] {
        kept_.erase(languages);
        ::malloc_trim(0);
        log_.debug(kLog, "Tesseract for " + languages + " released");
    });
}

}  // namespace kernova::desktop
