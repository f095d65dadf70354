// Cameras with their outputs and frame buffers.
#include "database/elements.h"
#include "database/passes.h"
#include "echo/element_writers.h"
#include "elements/element_readers.h"
#include "mi/records.h"

namespace lumorender {

namespace {

void writeSettings(ElementText& out, const FileSettings& file, const char* compression) {
    if (!file.compression.empty()) {
        out.add(compression);
        out.add(Quoted{file.compression});
    }
    if (file.quality >= 0) {
        out.add("quality");
        out.add(file.quality);
    }
    if (!isZero(file.dpi)) {
        out.add("dpi");
        out.add(file.dpi);
    }
}

void writeFrameBuffer(ElementText& out, const FrameBufferDescription& buffer) {
    out.statement("framebuffer", Quoted{buffer.name}, "datatype", Quoted{bufferTypeName(buffer.datatype)}, "filtering",
                  buffer.filtering);
    if (buffer.primary) out.add("primary on");
    if (buffer.user) out.add("user on");
    if (!buffer.filetype.empty()) {
        out.add("filetype");
        out.add(Quoted{buffer.filetype});
    }
    if (!buffer.filename.empty()) {
        out.add("filename");
        out.add(Quoted{buffer.filename});
    }
    writeSettings(out, buffer, "compression");
    if (buffer.dataWindow) out.add("dod on");
    if (const miTag profile = out.database.find(buffer.colorProfile)) {
        out.add("colorprofile");
        out.add(Name{profile});
    }
}

void writeOutputFile(ElementText& out, const OutputFile& file) {
    out.statement("output");
    if (!file.type.empty()) out.add(Quoted{file.type});
    out.add(Quoted{file.format});
    writeSettings(out, file, "compress");
    if (file.dataWindow) out.add("dod");
    out.add(Quoted{file.file});
}

std::string typeList(const std::vector<std::string>& types) {
    std::string list;
    for (const std::string& type : types) list += (list.empty() ? "" : ",") + type;
    return list;
}

void writeOutputShader(ElementText& out, const OutputShader& step) {
    out.statement("output");
    if (!step.types.empty()) out.add(Quoted{typeList(step.types)});
    writeSlot(out, step.shader);
}

/// Files and shaders in their order.
void writeOutputs(ElementText& out, const CameraDetail& camera) {
    std::size_t shaders = 0;
    const auto writeShadersBefore = [&](std::size_t end) {
        while (shaders < end) writeOutputShader(out, camera.outputShaders[shaders++]);
    };
    for (const OutputFile& file : camera.files) {
        writeShadersBefore(file.shadersBefore);
        writeOutputFile(out, file);
    }
    writeShadersBefore(camera.outputShaders.size());
}

void writePass(ElementText& out, const PassStatement& pass) {
    using enum PassStatement::Kind;
    out.statement(pass.kind == Write     ? "pass write"
                  : pass.kind == Merge   ? "pass merge"
                  : pass.kind == Prepare ? "pass prep"
                                         : "pass delete");
    if (!pass.types.empty()) out.add(Quoted{typeList(pass.types)});
    if (!pass.reads.empty()) {
        out.add("read [");
        for (const std::string& file : pass.reads) {
            if (&file != &pass.reads.front()) out.add(",");
            out.add(Quoted{file});
        }
        out.add("]");
        if (!pass.write.empty()) out.add("write");
    }
    if (!pass.write.empty()) out.add(Quoted{pass.write});
    writeSlot(out, pass.shader);
}

void writePasses(ElementText& out, const miCamera& camera) {
    if (const auto* list = out.database.detail<PassList>(camera.pass))
        for (const PassStatement& pass : list->passes) writePass(out, pass);
    if (camera.pass_mask) out.statement("pass mask on");
}

void writeProjection(ElementText& out, const miCamera& camera) {
    if (!isSameValue(camera.focal, 1.0F)) out.statement("focal", camera.focal);
    if (camera.orthographic) out.statement("focal infinity");
    out.statement("aperture", camera.aperture);
    out.statement("aspect", camera.aspect);
    out.statement("resolution", camera.x_resolution, camera.y_resolution);
    const auto& window = camera.window;
    if (window.xl != 0 || window.yl != 0 || window.xh != 65535 || window.yh != 65535)
        out.statement("window", window.xl, window.yl, window.xh, window.yh);
    if (!isSameValue(camera.x_offset, 0.0F) || !isSameValue(camera.y_offset, 0.0F))
        out.statement("offset", camera.x_offset, camera.y_offset);
    if (!isSameValue(camera.clip.min, miScalar{kNearestClip}) || !isSameValue(camera.clip.max, miScalar{kFarthestClip}))
        out.statement("clip", camera.clip.min, camera.clip.max);
}

}  // namespace

void writeCamera(ElementText& out, miTag tag) {
    const auto& camera = *out.database.as<miCamera>(tag, miSCENE_CAMERA);
    out.text += "camera";
    out.add(Quoted{out.database.name(tag)});
    if (const auto* buffers = out.database.detail<FrameBufferSet>(camera.buffertag))
        for (const FrameBufferDescription& buffer : buffers->buffers) writeFrameBuffer(out, buffer);
    if (const auto* detail = out.database.detail<CameraDetail>(tag)) writeOutputs(out, *detail);
    writePasses(out, camera);
    writeProjection(out, camera);
    if (const auto* detail = out.database.detail<CameraDetail>(tag); detail && detail->lensRadius > 0)
        out.statement("dof", detail->focus, detail->lensRadius);
    if (camera.frame != 0 || !isSameValue(camera.frame_time, 0.0F))
        out.statement("frame", camera.frame, camera.frame_time);
    writeSlotStatement(out, "lens", camera.lens);
    writeSlotStatement(out, "volume", camera.volume);
    writeSlotStatement(out, "environment", camera.environment);
    writeDataStatements(out, camera.userdata);
    writeAttributes(out, tag);
    out.text += "\nend camera\n";
}

}  // namespace lumorender
