/* A user's view of olvm: add an array of 4x4 matrices held in the L layout (a table of
 * one pointer per matrix) to a single matrix, then offset a batch of vectors by a
 * constant, checking the result codes as a caller would. */
#include <stdio.h>

#include "olvm.h"

#define COUNT 3

int main(void) {
    const OlvVersionInfo* v = olvmGetLibVersion();
    printf("olvm %d.%d (build %d.%d, %s)\n", v->versionMajor, v->versionMinor, v->buildMajor,
           v->buildMinor, v->versionText);

    float mats[COUNT][4][4], sums[COUNT][4][4], offset[4][4];
    float* src[COUNT];
    float* dst[COUNT];
    for (int n = 0; n < COUNT; ++n) {
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) mats[n][i][j] = (float)(n * 100 + i * 10 + j);
        src[n] = &mats[n][0][0];
        dst[n] = &sums[n][0][0];
    }
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) offset[i][j] = (i == j) ? 0.5f : 0.0f;

    const int row = 4 * sizeof(float);
    OlvResult r = olvmAdd_mam_32f_4x4_L(src, 0, row, &offset[0][0], row, dst, 0, row, COUNT);
    printf("olvmAdd_mam_32f_4x4_L on %d matrices: result %d\n", COUNT, (int)r);
    if (r != olvResultOk) return 1;
    printf("  matrix 2, row 3: %g %g %g %g\n", sums[2][3][0], sums[2][3][1], sums[2][3][2],
           sums[2][3][3]);

    double points[COUNT][3] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, moved[COUNT][3];
    r = olvmSub_vac_64f_3x1(&points[0][0], 3 * sizeof(double), 1.0, &moved[0][0],
                            3 * sizeof(double), COUNT);
    printf("olvmSub_vac_64f_3x1 on %d vectors: result %d, last = (%g, %g, %g)\n", COUNT, (int)r,
           moved[2][0], moved[2][1], moved[2][2]);

    r = olvmAdd_vv_32f(&offset[0][0], NULL, &offset[0][0], 4);
    printf("a null source is reported, not dereferenced: result %d (olvResultNullPointer)\n", (int)r);
    return r == olvResultNullPointer ? 0 : 1;
}
