#include "shader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

constexpr float kQuarter = std::numbers::pi_v<float> / 2;

void expectNear(const miVector& v, float x, float y, float z, float tolerance = 1e-6f) {
    EXPECT_NEAR(v.x, x, tolerance);
    EXPECT_NEAR(v.y, y, tolerance);
    EXPECT_NEAR(v.z, z, tolerance);
}

TEST(Matrices, PointsVectorsAndNormals) {
    // Twice as wide in x, moved by (10, 20, 30).
    const miMatrix m = {2, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 10, 20, 30, 1};
    miVector v = {1, 2, 3};
    mi_point_transform(&v, &v, m);
    expectNear(v, 12, 22, 33);
    v = {1, 2, 3};
    mi_vector_transform(&v, &v, m);
    expectNear(v, 2, 2, 3);

    const miMatrix shear = {1, 5, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};  // x goes to (1, 5, 0)
    v = {0, 1, 0};
    mi_vector_transform_T(&v, &v, shear);
    expectNear(v, 5, 1, 0);

    const miMatrix projection = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, -1, 0, 0, 0, 0};  // w = -z
    v = {2, 4, -2};
    mi_point_transform(&v, &v, projection);
    expectNear(v, 1, 2, -1);
}

TEST(Matrices, RotationsAreCounterClockwiseAndGoInTheOrderXYZ) {
    miMatrix m;
    miVector v = {1, 0, 0};
    const miVector axis = {0, 0, 5};
    mi_matrix_rotate_axis(m, &axis, kQuarter);
    mi_vector_transform(&v, &v, m);
    expectNear(v, 0, 1, 0);

    // About x, y becomes z; then about y, z becomes x.
    mi_matrix_rotate(m, kQuarter, kQuarter, 0);
    v = {0, 1, 0};
    mi_vector_transform(&v, &v, m);
    expectNear(v, 1, 0, 0);
    EXPECT_NEAR(mi_matrix_rot_det(m), 1, 1e-6);

    const miVector none = {0, 0, 0};
    mi_matrix_rotate_axis(m, &none, 1);
    EXPECT_TRUE(mi_matrix_isident(m));
}

TEST(Matrices, InverseTimesMatrixIsTheIdentity) {
    const miMatrix matrices[] = {
        {1e-4f, 0, 0, 0, 0, 3, 4, 0, 0, -4, 3, 0, 10, -7, 2, 1},  // small scale, rotation, translation
        {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 1},         // needs pivoting
        {1, 2, 0, 1, 0, 1, 3, 0, 2, 0, 1, 4, 1, 0, 0, 1},         // general
    };
    for (const miMatrix& m : matrices) {
        miMatrix inverse, product;
        ASSERT_TRUE(mi_matrix_invert(inverse, m));
        mi_matrix_prod(product, inverse, m);
        for (int i = 0; i < 16; ++i) EXPECT_NEAR(product[i], i % 5 == 0 ? 1 : 0, 1e-5f) << i;
        miMatrix aliased;
        mi_matrix_copy(aliased, m);
        ASSERT_TRUE(mi_matrix_invert(aliased, aliased));
        for (int i = 0; i < 16; ++i) EXPECT_EQ(aliased[i], inverse[i]);
    }
}

TEST(Matrices, SingularOnesAreRefusedAndLeaveTheResult) {
    const float nan = std::nanf("");
    const miMatrix matrices[] = {
        {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 0, 0, 0, 1},
        {0},
        {nan, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1},
    };
    for (const miMatrix& m : matrices) {
        miMatrix result = {42};
        EXPECT_FALSE(mi_matrix_invert(result, m));
        EXPECT_EQ(result[0], 42);
    }
}

TEST(Matrices, EquationsAreSolved) {
    // x = 1, y = -2, z = 3
    const miScalar a[] = {0, 2, 1, 1, 1, 1, 3, -1, 2}, b[] = {-1, 2, 11};
    miScalar x[3];
    ASSERT_TRUE(mi_matrix_solve(x, a, b, 3));
    expectNear({x[0], x[1], x[2]}, 1, -2, 3);
    const miScalar dependent[] = {1, 2, 2, 4};
    EXPECT_FALSE(mi_matrix_solve(x, dependent, b, 2));
    EXPECT_FALSE(mi_matrix_solve(x, a, b, 0));
}

}  // namespace
