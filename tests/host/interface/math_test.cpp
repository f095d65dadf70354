// Matrices, noise, curves and random numbers of shaders.
#include "shader.h"
#include "support/quasi_random.h"
#include "tests/host/as_text.h"

#include <algorithm>
#include <set>

namespace lumorender {
namespace {

constexpr float kQuarter = static_cast<float>(M_PI / 2);

TEST(Matrices, TransformPointsVectorsAndNormals) {
    const miMatrix m = {2, 3, 5, 0, 7, 11, 13, 0, 17, 19, 23, 0, 29, 31, 37, 1};
    const miMatrix projection = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, -1, 0, 0, 0, 0};  // w = -z
    miVector p = {1, 10, 100}, v = p, t = p, w = {2, 4, -2};
    mi_point_transform(&p, &p, m);
    mi_vector_transform(&v, &v, m);
    mi_vector_transform_T(&t, &t, m);
    mi_point_transform(&w, &w, projection);
    EXPECT_EQ(asText(p, v, t, w), "1801 2044 2472 1772 2013 2435 532 1417 2507 1 2 -1");
}

TEST(Matrices, RotationsAreCounterClockwiseAndGoInTheOrderXYZ) {
    miMatrix m;
    const auto turned = [&m](miVector p) {
        mi_vector_transform(&p, &p, m);
        return asText(p);
    };
    const miVector axis = {0, 0, 5}, diagonal = {2, 2, 2}, none = {0, 0, 0};
    mi_matrix_rotate_axis(m, &axis, kQuarter);
    EXPECT_EQ(turned({1, 2, 3}), "-2 1 3");
    mi_matrix_rotate_axis(m, &diagonal, 4 * kQuarter / 3);
    EXPECT_EQ(turned({1, 2, 3}), "3 1 2");
    // About x, (1 2 3) becomes (1 -3 2); about y, (2 -3 -1).
    mi_matrix_rotate(m, kQuarter, kQuarter, 0);
    EXPECT_EQ(turned({1, 2, 3}), "2 -3 -1");
    mi_matrix_rotate(m, 0, kQuarter, kQuarter);  // (3 2 -1), then (-2 3 -1)
    EXPECT_EQ(turned({1, 2, 3}), "-2 3 -1");
    mi_matrix_rotate_axis(m, &none, 1);
    EXPECT_EQ(asText(mi_matrix_isident(m), mi_matrix_isnull(m)), "1 0");
    const miMatrix any = {2,  3,  5,  0, 7, 11, 13, 0,
                          17, 19, 24, 0, 1, 2,  3,  1};  // 2 (264 - 247) - 3 (168 - 221) + 5 (133 - 187)
    EXPECT_EQ(mi_matrix_rot_det(any), -77);
}

TEST(Matrices, AreInvertedAndEquationsSolved) {
    const miMatrix matrices[] = {
        {1e-4f, 0, 0, 0, 0, 3, 4, 0, 0, -4, 3, 0, 10, -7, 2, 1},  // small scale, rotation, translation
        {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1},         // needs pivoting
        {1, 2, 0, 1, 0, 1, 3, 0, 2, 0, 1, 4, 1, 0, 0, 1}};        // general
    for (const miMatrix& m : matrices) {
        miMatrix inverse, product;
        mi_matrix_copy(inverse, m);
        ASSERT_TRUE(mi_matrix_invert(inverse, inverse));
        mi_matrix_prod(product, inverse, m);
        for (int i = 0; i < 16; ++i) EXPECT_NEAR(product[i], i % 5 == 0 ? 1 : 0, 1e-5f) << i;
    }
    const miMatrix singular[] = {
        {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 0, 0, 0, 1}, {0}, {NAN, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};
    for (const miMatrix& m : singular) {
        miMatrix result = {42};
        EXPECT_FALSE(mi_matrix_invert(result, m));
        EXPECT_EQ(result[0], 42);
    }
    const miScalar a[] = {0, 2, 1, 1, 1, 1, 3, -1, 2}, b[] = {-1, 2, 11}, dependent[] = {1, 2, 2, 4};
    miScalar x[3];
    ASSERT_TRUE(mi_matrix_solve(x, a, b, 3));
    EXPECT_EQ(asText(x[0], x[1], x[2]), "1 -2 3");
    EXPECT_FALSE(mi_matrix_solve(x, dependent, b, 2) || mi_matrix_solve(x, a, b, 0));
}

/// A scattered point, far enough from the origin to see other cells, both signs.
miVector place(std::uint32_t i) {
    const auto coordinate = [i](std::uint32_t k) { return static_cast<float>(hashedUnit(i, k) - 0.5) * 200; };
    return {coordinate(0), coordinate(1), coordinate(2)};
}

TEST(Noise, FillsItsRangeAndHasTheSlopesOfItsValues) {
    float highest[3] = {}, lowest[3] = {}, sum[3] = {}, u, v, halfU, halfV;
    for (std::uint32_t i = 0; i < 200000; ++i) {
        miVector p = place(i);
        const float values[3] = {mi_noise_1d(p.x), mi_noise_2d(p.x, p.y), mi_noise_3d(&p)};
        for (int d = 0; d < 3; ++d) {
            highest[d] = std::max(highest[d], values[d]);
            lowest[d] = std::min(lowest[d], values[d]);
            sum[d] += values[d] / 200000;
        }
        if (i >= 200) continue;
        constexpr float h = 0x1p-7f;
        miVector slope, half;
        EXPECT_EQ(asText(mi_noise_1d_grad(p.x, &u), mi_noise_3d_grad(&p, &slope)), asText(values[0], values[2]));
        EXPECT_NEAR(u, (mi_noise_1d(p.x + h) - mi_noise_1d(p.x - h)) / (2 * h), 0.02);
        for (float miVector::* axis : {&miVector::x, &miVector::y, &miVector::z}) {
            miVector a = p, b = p;
            a.*axis -= h;
            b.*axis += h;
            EXPECT_NEAR(slope.*axis, (mi_noise_3d(&b) - mi_noise_3d(&a)) / (2 * h), 0.02);
        }
        // The unsigned kinds are half as high around one half.
        EXPECT_EQ(asText(mi_unoise_1d_grad(p.x, &halfU), halfU, mi_unoise_3d_grad(&p, &half), half, mi_unoise_3d(&p)),
                  asText(.5f + .5f * values[0], u / 2, .5f + .5f * values[2], slope.x / 2, slope.y / 2, slope.z / 2,
                         .5f + .5f * values[2]));
        EXPECT_EQ(mi_noise_2d_grad(p.x, p.y, &u, &v), values[1]);
        EXPECT_NEAR(u, (mi_noise_2d(p.x + h, p.y) - mi_noise_2d(p.x - h, p.y)) / (2 * h), 0.02);
        EXPECT_NEAR(v, (mi_noise_2d(p.x, p.y + h) - mi_noise_2d(p.x, p.y - h)) / (2 * h), 0.02);
        EXPECT_EQ(asText(mi_unoise_2d_grad(p.x, p.y, &halfU, &halfV), halfU, halfV),
                  asText(.5f + .5f * values[1], u / 2, v / 2));
    }
    for (int d = 0; d < 3; ++d)
        EXPECT_TRUE(highest[d] <= 1 && highest[d] > .75f && lowest[d] >= -1 && lowest[d] < -.75f &&
                    std::abs(sum[d]) < .02)
            << d;
    for (const float x :
         {-3.0f, 0.0f, 17.0f, 1e20f, INFINITY, NAN}) {  // at lattice points, and where there is no place
        miVector p = {x, 2, -5};
        EXPECT_EQ(asText(mi_noise_1d(x), mi_noise_2d(x, 4), mi_noise_3d(&p), mi_unoise_1d(x)), "0 0 0 0.5") << x;
    }
}

TEST(Math, SplinesAndLuminance) {
    const miScalar values[] = {1, 5, -2, 0}, line[] = {0, 2, 4};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(mi_spline(static_cast<float>(i) / 3, 4, values), values[i], 1e-5);
    // Half way between b and c with neighbours a and d: (-a + 9 b + 9 c - d) / 16; beyond the ends values go on straight.
    EXPECT_EQ(asText(mi_spline(1 / 6.F, 4, values), mi_spline(.5F, 4, values), mi_spline(5 / 6.F, 4, values)),
              asText((3 + 9 + 45 + 2) / 16.0, 26 / 16.0, (-5 - 18 - 2) / 16.0));
    EXPECT_EQ(asText(mi_spline(.25F, 2, line), mi_spline(.1F, 3, line), mi_spline(.45F, 3, line),
                     mi_spline(.9F, 3, line), mi_spline(-1, 4, values), mi_spline(2, 4, values),
                     mi_spline(.5F, 1, values), mi_spline(.5F, 0, nullptr)),
              "0.5 0.4 1.8 3.6 1 0 1 0");
    miOptions options = {};
    miState state = {};
    miColor color = {1, 2, 3, 9};
    EXPECT_NEAR(mi_luminance(&state, &color), 0.299 + 2 * 0.587 + 3 * 0.114, 1e-6);
    state.options = &options;
    EXPECT_NEAR(mi_luminance(&state, &color), 0.299 + 2 * 0.587 + 3 * 0.114, 1e-6);
    options.luminance_weight = {0.5f, 0.25f, 0.75f, 0};
    EXPECT_EQ(mi_luminance(&state, &color), 3.25f);
}

using Points = std::vector<std::vector<double>>;

miState stateOf(std::uint32_t pixel, std::uint32_t sample) {
    miState state = {};
    seedEyeState(state, pixel, sample);
    return state;
}

Points loop(miState&& state, miUshort dimensions, miUint n) {
    Points points;
    std::vector<double> point(dimensions), unused(2);
    int counter = 0;
    const miUint inner = 4;
    while (mi_sample(point.data(), &counter, &state, dimensions, &n)) {
        points.push_back(point);
        int left = 0;  // another loop within, left before its end, and a single point
        for (int i = 0; i < 2; ++i) mi_sample(unused.data(), &left, &state, 2, &inner);
        mi_sample(unused.data(), nullptr, &state, 2, nullptr);
    }
    EXPECT_EQ(counter, static_cast<int>(n));
    return points;
}

/// True if each of as many equal intervals as there are points has one of them, in every coordinate.
bool isStratified(const Points& points) {
    for (std::size_t k = 0; k < points[0].size(); ++k) {
        std::set<int> strata;
        for (const auto& point : points) strata.insert(static_cast<int>(point[k] * static_cast<double>(points.size())));
        if (strata.size() != points.size()) return false;
    }
    return true;
}

TEST(Sampling, IsStratified) {
    for (std::uint32_t pixel = 0; pixel < 20; ++pixel)
        EXPECT_TRUE(isStratified(loop(stateOf(pixel, 3), 6, 64))) << pixel;
    // Pairs are a net: each of 8 x 8 cells has one.
    for (std::uint32_t pixel = 0; pixel < 20; ++pixel) {
        std::set<std::pair<int, int>> cells;
        for (const auto& p : loop(stateOf(pixel, 0), 2, 64))
            cells.emplace(static_cast<int>(8 * p[0]), static_cast<int>(8 * p[1]));
        EXPECT_EQ(cells.size(), 64u) << pixel;
    }
    Points loops;  // the samples of a pixel continue each other
    for (std::uint32_t sample = 0; sample < 4; ++sample)
        for (const auto& point : loop(stateOf(11, sample), 2, 16)) loops.push_back(point);
    EXPECT_TRUE(isStratified(loops));
    miState state = stateOf(5, 0);
    double point[1];
    int counter = 0, turns = 0;
    const miUint none = 0;
    while (mi_sample(point, &counter, &state, 1, nullptr)) ++turns;
    EXPECT_EQ(turns, 1) << "one point needs no loop and ends one";
    EXPECT_FALSE(mi_sample(point, &(counter = 0), &state, 1, &none));
}

TEST(Sampling, DoesNotDependOnWhatTheThreadDidBefore) {
    int outer, inner[12], others[16];
    miState state = {}, before = {};
    const miUint n = 4;
    double point[1];
    for (int& counter : inner) mi_sample(point, &(counter = 0), &state, 1, &n);
    const auto points = [&](int history) {
        std::vector<double> result;
        for (int k = 0; k < history; ++k) mi_sample(point, &(others[k] = 0), &before, 1, &n);
        state = stateOf(7, 0);
        for (outer = 0; mi_sample(point, &outer, &state, 1, &n);) {
            result.push_back(point[0]);
            for (int& counter : inner) mi_sample(point, &(counter = 0), &state, 1, &n);
        }
        return result;
    };
    for (int history = 0; history < 16; ++history) EXPECT_EQ(points(history), points(0)) << history;
}

TEST(Random, DecisionsPixelsAndSubRaysDiffer) {
    miState state = stateOf(1, 0), same = stateOf(1, 0), other = stateOf(2, 0), child = state, secondChild = state;
    seedChildState(child, state);
    seedChildState(secondChild, state);
    const auto one = [](miState s) { return mi_par_random(&s); };
    const double first = mi_par_random(&state);
    EXPECT_EQ(
        (std::set<double>{first, one(state), one(other), one(child), one(secondChild), one(stateOf(1, 1))}.size()), 6u);
    EXPECT_EQ(one(same), one(stateOf(1, 0)));

    mi_srandom(7);
    double sum = 0, squares = 0;
    const float random = mi_random();
    for (int i = 0; i < 100000; ++i) {
        const double x = mi_random();
        ASSERT_TRUE(x >= 0 && x < 1);
        sum += x / 100000;
        squares += x * x / 100000;
    }
    EXPECT_TRUE(std::abs(sum - 0.5) < 0.005 && std::abs(squares - 1.0 / 3) < 0.005) << sum << ' ' << squares;
    mi_srandom(7);
    EXPECT_EQ(mi_random(), random);
    unsigned short ours[3] = {1, 50000, 300}, theirs[3] = {1, 50000, 300};  // this one is the C library's
    for (int i = 0; i < 100; ++i) EXPECT_NEAR(mi_erandom(ours), erand48(theirs), 0x1p-24);
    EXPECT_TRUE(std::equal(ours, ours + 3, theirs));
}

}  // namespace
}  // namespace lumorender
