/* A user's view of olvm: fit a plane z = a x + b y + c by least squares to each of
 * 100,000 clouds of 16 noisy points. Each cloud is a tall 16x3 system (rows (x, y, 1),
 * right-hand side z), all held one after another in the standard layout. The matrices are
 * factored by Householder reflections with olvmQRDecomp_ma_32f, then every system is
 * solved from its factors by olvmQRBackSubst_mava_32f, which gives the least-squares
 * coefficients. The fitted planes are checked against the true ones, the residuals
 * against the noise, and both steps are timed. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "olvm.h"

#define COUNT 100000u
#define POINTS 16
#define W 3
#define NOISE 1e-3 /* the noise on z is uniform in [-NOISE, NOISE) */

/* Deterministic pseudo-random numbers in [-1, 1). */
static unsigned long long state = 0x9E3779B97F4A7C15ull;
static double uniform(void) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return (double)(state >> 11) / 4503599627370496.0 - 1.0;
}

static double seconds(clock_t from, clock_t to) { return (double)(to - from) / CLOCKS_PER_SEC; }

/* Sum of squares of z - (a x + b y + c) over the points of cloud n. */
static double residual_squares(const float* a, const float* z, const float* coef) {
    double s = 0.0;
    for (int i = 0; i < POINTS; ++i) {
        double r = z[i];
        for (int j = 0; j < W; ++j) r -= (double)a[i * W + j] * coef[j];
        s += r * r;
    }
    return s;
}

int main(void) {
    const OlvVersionInfo* v = olvmGetLibVersion();
    printf("olvm %d.%d (build %d.%d, %s)\n", v->versionMajor, v->versionMinor, v->buildMajor,
           v->buildMinor, v->versionText);

    const size_t per_matrix = (size_t)POINTS * W;
    float* mats = malloc(sizeof(float) * per_matrix * COUNT);  /* rows (x, y, 1) */
    float* qr = malloc(sizeof(float) * per_matrix * COUNT);    /* packed factors */
    float* z = malloc(sizeof(float) * POINTS * COUNT);
    float* coef = malloc(sizeof(float) * W * COUNT);
    double* truth = malloc(sizeof(double) * W * COUNT);
    float buffer[POINTS]; /* scratch for one system at a time; keeps Q^T z of the last */
    if (!mats || !qr || !z || !coef || !truth) {
        fprintf(stderr, "out of memory\n");
        return 1;
    }

    for (unsigned n = 0; n < COUNT; ++n) {
        double* p = truth + (size_t)n * W;
        for (int j = 0; j < W; ++j) p[j] = 2.0 * uniform();
        for (int i = 0; i < POINTS; ++i) {
            float* row = mats + n * per_matrix + (size_t)i * W;
            row[0] = (float)uniform();
            row[1] = (float)uniform();
            row[2] = 1.0f;
            z[(size_t)n * POINTS + i] = (float)(p[0] * row[0] + p[1] * row[1] + p[2] + NOISE * uniform());
        }
    }

    const int row = W * sizeof(float), obj = (int)(per_matrix * sizeof(float));
    clock_t t0 = clock();
    OlvResult r = olvmQRDecomp_ma_32f(mats, obj, row, buffer, qr, obj, row, W, POINTS, COUNT);
    clock_t t1 = clock();
    if (r != olvResultOk) {
        printf("olvmQRDecomp_ma_32f failed: result %d\n", (int)r);
        return 1;
    }
    r = olvmQRBackSubst_mava_32f(qr, obj, row, buffer, z, POINTS * sizeof(float), coef, W * sizeof(float),
                                 W, POINTS, COUNT);
    clock_t t2 = clock();
    if (r != olvResultOk) {
        printf("olvmQRBackSubst_mava_32f failed: result %d\n", (int)r);
        return 1;
    }

    /* Worst root-mean-square residual of a cloud, and the largest coefficient error. */
    double worst_rms = 0.0, worst_coef = 0.0, last = 0.0;
    for (unsigned n = 0; n < COUNT; ++n) {
        last = residual_squares(mats + n * per_matrix, z + (size_t)n * POINTS, coef + (size_t)n * W);
        const double rms = sqrt(last / POINTS);
        if (!(rms <= worst_rms)) worst_rms = rms;
        for (int j = 0; j < W; ++j) {
            const double e = fabs(coef[(size_t)n * W + j] - truth[(size_t)n * W + j]);
            if (!(e <= worst_coef)) worst_coef = e;
        }
    }
    /* The buffer's entries past the third are the residual's components in the rotated
     * basis of the last cloud: their norm is that cloud's residual norm. */
    double rotated = 0.0;
    for (int i = W; i < POINTS; ++i) rotated += (double)buffer[i] * buffer[i];

    const double td = seconds(t0, t1), ts = seconds(t1, t2);
    printf("factored %u 16x3 systems (standard layout) in %.1f ms: %.2f million systems/s\n", COUNT,
           1e3 * td, td > 0 ? COUNT / td / 1e6 : 0.0);
    printf("solved   %u least-squares systems from the factors in %.1f ms: %.2f million systems/s\n",
           COUNT, 1e3 * ts, ts > 0 ? COUNT / ts / 1e6 : 0.0);
    printf("worst RMS residual of a cloud: %.3g (noise uniform in +-%.0e, RMS %.3g)\n", worst_rms, NOISE,
           NOISE / sqrt(3.0));
    printf("largest error of a fitted coefficient: %.3g\n", worst_coef);
    printf("last cloud's residual norm: %.6g recomputed, %.6g from the buffer\n", sqrt(last), sqrt(rotated));

    free(mats), free(qr), free(z), free(coef), free(truth);
    const int ok = worst_rms < NOISE && worst_coef < 10 * NOISE &&
                   fabs(sqrt(last) - sqrt(rotated)) < 1e-2 * sqrt(last) + 1e-6;
    return ok ? 0 : 1;
}
