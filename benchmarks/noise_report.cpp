// What the noises of the built module look like in numbers and pictures: range, mean, deviation and the share of each
// octave of frequencies, measured over a period; and one small image of each, in color where there are three values.
//
//     noise_report [folder for the images]
#include "small_renderer.h"

#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <functional>
#include <numbers>
#include <string>
#include <vector>

namespace {

/// Lattice cells across a line that is measured, and across an image.
constexpr int kCells = 32;
constexpr int kImageCells = 16;

/// In lattice cells, so that all noises can be compared.
using Noise = std::function<double(double x, double y)>;

/// One or three values.
struct Named {
    std::string name;
    std::vector<Noise> values;
    double greatest = 1;  ///< white in the image
};

/// Tables and generators have no lattice: a value for each pixel of an image.
int pixelNumber(double x, double y) {
    constexpr double kPixels = 8;  // of a cell
    return static_cast<int>(x * kPixels) + 257 * static_cast<int>(y * kPixels);
}

miScalar component(const miVector& v, int k) { return k == 0 ? v.x : k == 1 ? v.y : v.z; }

/// One number after the other, wherever it is asked for. noise_frand gives the same ones.
Noise generated() {
    return [generator = libraryFunction<decltype(noise_drand)>("noise_drand"), seed = miUint{1}](
               double, double) mutable { return 2 * generator(&seed) - 1; };
}

std::vector<Named> noises() {
    const auto one = libraryFunction<decltype(noise_scalar_1d)>("noise_scalar_1d");
    const auto two = libraryFunction<decltype(noise_scalar_2d)>("noise_scalar_2d");
    const auto three = libraryFunction<decltype(noise_scalar_3d)>("noise_scalar_3d");
    const auto four = libraryFunction<decltype(noise_scalar_4d)>("noise_scalar_4d");
    const auto slopes = libraryFunction<decltype(noise_vector_2d)>("noise_vector_2d");
    const auto gradient = libraryFunction<decltype(noise_gradient_3d)>("noise_gradient_3d");
    const auto scalars = libraryFunction<decltype(noise_table_scalar)>("noise_table_scalar");
    const auto vectors = libraryFunction<decltype(noise_table_vector)>("noise_table_vector");
    miState state{};
    libraryFunction<decltype(noise_gradient_init)>("noise_gradient_init")(&state);

    const double cell = 1.0 / kCells;
    std::vector<Noise> slopesAndValue, threeEntries;
    for (int k = 0; k < 3; ++k) {
        slopesAndValue.push_back([=](double x, double y) {
            miVector result;
            return component(*slopes(&result, x * cell, y * cell), k);
        });
        threeEntries.push_back([=](double x, double y) {
            miVector result;
            return component(*vectors(&result, pixelNumber(x, y)), k);
        });
    }
    return {
        {"noise_scalar_1d", {[=](double x, double) { return one(x * cell); }}},
        {"noise_scalar_2d", {[=](double x, double y) { return two(x * cell, y * cell); }}},
        {"noise_scalar_3d", {[=](double x, double y) { return three(x * cell, y * cell, 0.31); }}},
        {"noise_scalar_4d", {[=](double x, double y) { return four(x * cell, y * cell, 0.31, 0.42, 20); }}},
        {"noise_vector_2d", slopesAndValue, 1.5},
        {"noise_gradient_3d",
         {[=](double x, double y) { return gradient(static_cast<float>(x), static_cast<float>(y), 0.5F); }}},
        {"noise_table_scalar", {[=](double x, double y) { return scalars(pixelNumber(x, y)); }}},
        {"noise_table_vector", threeEntries},
        {"noise_drand", {generated()}},
    };
}

/// Power of a line's frequencies: element k for k cycles per line, from a plain Fourier sum.
void addSpectrum(const std::vector<double>& line, std::vector<double>& power) {
    for (std::size_t k = 1; k < power.size(); ++k) {
        std::complex<double> sum = 0;
        for (std::size_t i = 0; i < line.size(); ++i)
            sum += line[i] * std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(k * i % line.size()) /
                                                 static_cast<double>(line.size()));
        power[k] += std::norm(sum);
    }
}

void report(const std::string& name, const Noise& noise) {
    constexpr std::size_t kSamples = 256, kLines = 64;
    std::vector<double> line(kSamples), power(kSamples / 2);
    double low = 1e9, high = -1e9, sum = 0, squares = 0;
    for (std::size_t l = 0; l < kLines; ++l) {
        for (std::size_t i = 0; i < kSamples; ++i) {
            const double value = noise(static_cast<double>(i) * kCells / kSamples, static_cast<double>(l) * 0.5);
            line[i] = value;
            low = std::min(low, value);
            high = std::max(high, value);
            sum += value;
            squares += value * value;
        }
        addSpectrum(line, power);
    }
    constexpr double kCount = kSamples * kLines;
    std::printf("%-20s range %6.3f .. %5.3f  mean %6.3f  deviation %.3f  octaves", name.c_str(), low, high,
                sum / kCount, std::sqrt(squares / kCount - sum * sum / kCount / kCount));
    double all = 0;
    for (const double p : power) all += p;
    for (std::size_t octave = 1; octave < power.size(); octave *= 2) {
        double share = 0;
        for (std::size_t k = octave; k < std::min(2 * octave, power.size()); ++k) share += power[k];
        std::printf(" %4.1f", 100 * share / all);
    }
    std::printf("\n");
}

bool draw(const Named& named, const std::string& folder) {
    constexpr int kSide = 128;
    std::vector<unsigned char> pixels;
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x)
            for (const Noise& noise : named.values) {
                const double value = noise(x * double{kImageCells} / kSide, y * double{kImageCells} / kSide);
                pixels.push_back(
                    static_cast<unsigned char>(std::clamp(127.5 + 127.5 * value / named.greatest, 0.0, 255.0)));
            }
    const auto file = OIIO::ImageOutput::create("png");
    const OIIO::ImageSpec spec(kSide, kSide, static_cast<int>(named.values.size()));
    return file && file->open(folder + "/" + named.name + ".png", spec) &&
           file->write_image(OIIO::TypeDesc::UINT8, pixels.data()) && file->close();
}

}  // namespace

int main(int count, char** arguments) {
    std::printf("Octaves: percent of the power at 1, 2-3, 4-7, 8-15, 16-31, 32-63, 64-127 cycles per %d cells\n",
                kCells);
    for (const Named& named : noises()) {
        for (std::size_t k = 0; k < named.values.size(); ++k)
            report(named.values.size() > 1 ? named.name + "." + "xyz"[k] : named.name, named.values[k]);
        if (count > 1 && !draw(named, arguments[1])) {
            std::fprintf(stderr, "cannot write the image of %s into %s\n", named.name.c_str(), arguments[1]);
            return 1;
        }
    }
    return 0;
}
