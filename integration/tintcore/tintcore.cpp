/* libtintcore.so: the color-management interface of platform/tintcore over OpenColorIO, for everybody whose host
 * application does not bring that library.
 *
 * A transform's name is one of
 *   "source -> destination"   two color spaces (or roles)
 *   a named transform or a look of the configuration; a look is applied in its own process space
 *   the path of a LUT file that OpenColorIO reads
 * in the configuration of $OCIO, else in the one of builtin_config.h. Both are read once per process.
 */
#include <tintcore/tintcore.h>

#include "builtin_config.h"

#include <OpenColorIO/OpenColorIO.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <mutex>
#include <sstream>
#include <string_view>

namespace ocio = OCIO_NAMESPACE;

namespace TintCore {
namespace {

/* Four floats per pixel, the only format there is so far. */
constexpr PixelFormat kFourFloats{0x2001f};

ocio::ConstConfigRcPtr readConfig() {
    const char* file = std::getenv("OCIO");
    if (file && *file) return ocio::Config::CreateFromFile(file);
    std::istringstream text(kBuiltinConfig);
    return ocio::Config::CreateFromStream(text);
}

/* A configuration that cannot be read throws, each time. */
const ocio::ConstConfigRcPtr& config() {
    static const ocio::ConstConfigRcPtr config = readConfig();
    return config;
}

std::string trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == text.npos ? std::string() : std::string(text.substr(first, text.find_last_not_of(' ') + 1 - first));
}

ocio::ConstTransformRcPtr lookTransform(const ocio::ConstLookRcPtr& look) {
    const auto transform = ocio::LookTransform::Create();
    transform->setSrc(look->getProcessSpace());
    transform->setDst(look->getProcessSpace());
    transform->setLooks(look->getName());
    return transform;
}

/* A named transform may be given by its inverse alone. */
ocio::ConstProcessorRcPtr namedProcessor(const ocio::NamedTransform& named) {
    if (const auto forward = named.getTransform(ocio::TRANSFORM_DIR_FORWARD)) return config()->getProcessor(forward);
    return config()->getProcessor(named.getTransform(ocio::TRANSFORM_DIR_INVERSE), ocio::TRANSFORM_DIR_INVERSE);
}

ocio::ConstProcessorRcPtr processorOf(const std::string& name) {
    constexpr std::string_view kArrow = "->";
    const std::size_t arrow = name.find(kArrow);
    if (arrow != name.npos)
        return config()->getProcessor(trimmed(std::string_view(name).substr(0, arrow)).c_str(),
                                      trimmed(std::string_view(name).substr(arrow + kArrow.size())).c_str());
    if (const auto named = config()->getNamedTransform(name.c_str())) return namedProcessor(*named);
    if (const auto look = config()->getLook(name.c_str())) return config()->getProcessor(lookTransform(look));
    if (!std::filesystem::is_regular_file(name))
        throw ocio::Exception(
            ("'" + name + "' is no pair of color spaces (a -> b), named transform, look or LUT file.").c_str());
    const auto file = ocio::FileTransform::Create();
    file->setSrc(name.c_str());
    file->setInterpolation(ocio::INTERP_BEST);
    return config()->getProcessor(file);
}

/* Runs code that throws, and tells what it threw. */
template <class Code>
TintStatus statusOf(Code&& code) {
    try {
        code();
        return {};
    } catch (const std::exception& problem) {
        return TintStatus(problem.what());
    } catch (...) {
        return TintStatus("unknown problem");
    }
}

/* The interpolation and the arithmetic of a single pixel are exact; flags for speed would save little there. */
class ProcessorTransform : public Transform {
public:
    explicit ProcessorTransform(ocio::ConstProcessorRcPtr processor)
        : processor_(std::move(processor)),
          pixels_(processor_->getOptimizedCPUProcessor(ocio::OPTIMIZATION_LOSSLESS)) {}

    TintStatus apply(const void* source, const ROI& region, void* destination) const override {
        return statusOf([&] {
            const auto describe = [&](const void* pixels) {
                return ocio::PackedImageDesc(const_cast<void*>(pixels), region.width(), region.height(),
                                             ocio::CHANNEL_ORDERING_RGBA);
            };
            ocio::PackedImageDesc to = describe(destination);
            if (source == destination)
                pixels_->apply(to);
            else
                pixels_->apply(describe(source), to);
        });
    }

private:
    const ocio::ConstProcessorRcPtr processor_;
    const ocio::ConstCPUProcessorRcPtr pixels_;
};

/* By name. */
class Transforms {
public:
    TransformPtr find(const std::string& name) {
        const std::lock_guard lock(mutex_);
        const auto found = transforms_.find(name);
        if (found != transforms_.end()) return found->second;
        return transforms_[name] = TransformPtr(std::make_shared<const ProcessorTransform>(processorOf(name)));
    }

private:
    std::mutex mutex_;
    std::map<std::string, TransformPtr> transforms_;
};

Transforms& transforms() {
    static Transforms all;
    return all;
}

}  // namespace

TintStatus TransformCache::getTransform(const char* name, TransformPtr& result) {
    return statusOf([&] { result = transforms().find(name); });
}

/* Transforms are final as they are; the flags are for libraries that choose between several ways. */
TintStatus finalize(const TransformPtr& transform, PixelFormat source, PixelFormat destination, OptimizerFlags,
                    ResolveFlags, TransformPtr& result) {
    if (!transform.get()) return TintStatus("There is no transform to finalize.");
    if (source != kFourFloats || destination != kFourFloats)
        return TintStatus("Only pixels of four floats can be transformed.");
    result = transform;
    return {};
}

}  // namespace TintCore
