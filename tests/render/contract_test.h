// What shaders may rely on, asked by the probe shaders.
#pragma once

#include "harness.h"
#include "scene_text.h"

namespace rendertest {

class Contract : public RenderTest {
protected:
    /// Renders with all information on, on one thread unless asked otherwise. Fails where a probe says "not so".
    Picture probe(const SceneText& scene, const std::vector<std::string>& more = {"-threads", "1"}) {
        std::vector<std::string> arguments{"-verbose", "5"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        told = renderText(scene.text(), arguments);
        EXPECT_EQ(told.exitCode, 0) << "signal " << told.signal << (told.timedOut ? ", hangs\n" : "\n")
                                    << told.messages;
        EXPECT_FALSE(told.says("error")) << told.messages;
        if (!exists("out.exr")) throw std::runtime_error("no picture: " + told.messages);
        return Picture(path("out.exr"));
    }

    Outcome told;
};

/// One more frame buffer for shaders, in the same file.
inline std::string userBuffer(const std::string& name, const std::string& type, const std::string& more = {}) {
    return "\nframebuffer \"" + name + "\" datatype \"" + type + "\" user on " + more +
           " filename \"out.exr\" filetype \"exr\"";
}

}  // namespace rendertest
