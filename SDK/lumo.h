/* The shader SDK of lumovexa.so: everything that another shader library needs to take part in the same render passes.
 *
 * Unless a function says otherwise:
 *  - it may be called on any render thread; it touches only the calling state's own data and takes no lock;
 *  - it reports trouble through the renderer's message functions, never by an exception;
 *  - pointers must not be null; colors, vectors and records that are only read are const;
 *  - truth values are miBoolean (0 or 1).
 *
 * C and C++. The few functions with C++ types stand at the end.
 */
#ifndef LUMO_SDK_LUMO_H
#define LUMO_SDK_LUMO_H

#include "lumo_base.h"
#include "lumo_color.h"
#include "lumo_lights.h"
#include "lumo_noise.h"
#include "lumo_passes.h"
#include "lumo_ramps.h"
#include "lumo_surface.h"

#ifdef __cplusplus

/* ---- C++ ------------------------------------------------------------------------------------------------------- */

#include <string>
#include <utility>

/* A pinned block of scene data: its address, its tag and whether its words are byte-swapped. Can be moved, not copied.
 * It does not unpin: whoever ends up owning it calls mi_db_unpin(tag()) when done, unless it is empty. */
template <class T>
class MIDataPtr {
public:
    MIDataPtr() = default;
    MIDataPtr(const T* data, miTag tag, bool swapped) : data_(data), tag_(tag), swapped_(swapped ? 1 : 0) {}
    MIDataPtr(MIDataPtr&& other) noexcept { *this = std::move(other); }
    MIDataPtr& operator=(MIDataPtr&& other) noexcept {
        data_ = std::exchange(other.data_, nullptr);
        tag_ = std::exchange(other.tag_, miNULLTAG);
        swapped_ = other.swapped_;
        return *this;
    }

    bool empty() const { return data_ == nullptr || tag_ == miNULLTAG; }
    const T* data() const { return data_; }
    miTag tag() const { return tag_; }
    bool swapped() const { return swapped_ != 0; }

private:
    const T* data_ = nullptr;
    miTag tag_ = miNULLTAG;
    miCBoolean swapped_ = 0;
};

#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage" /* names are plain C names, types need not be */
#endif

extern "C" {

/* The camera's "FBuf" block, pinned; empty when there is none. Its words are as the scene wrote them: check counts and
 * swapped() before use. */
LUMO_API MIDataPtr<FrameBufferData> getFrameBufferDataBlock(miState* state);

/* Messages. The text is the renderer's format string: a '%' in it is interpreted. */
LUMO_API void lumoFatal(const std::string& message);
LUMO_API void lumoError(const std::string& message);
LUMO_API void lumoWarning(const std::string& message);
LUMO_API void lumoInfo(const std::string& message);

} /* extern "C" */

#if defined(__clang__)
#pragma clang diagnostic pop
#endif

#endif /* __cplusplus */
#endif
