/* A user's view of olvm: solve a large batch of 4x4 linear systems A x = b held in the
 * L layout (a table of one pointer per matrix and one per vector). Each matrix is
 * factored with partial pivoting by olvmLUDecomp_ma_32f_4x4_L, then every system is
 * solved from its factors by olvmLUBackSubst_mava_32f_4x4_L; the largest residual is
 * checked and both steps are timed. */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include "olvm.h"

#define COUNT 100000u
#define N 4

/* Deterministic pseudo-random numbers in [-1, 1). */
static unsigned long long state = 0x9E3779B97F4A7C15ull;
static double uniform(void) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return (double)(state >> 11) / 4503599627370496.0 - 1.0;
}

static double magnitude(double x) { return x < 0 ? -x : x; }

static double seconds(clock_t from, clock_t to) { return (double)(to - from) / CLOCKS_PER_SEC; }

int main(void) {
    const OlvVersionInfo* v = olvmGetLibVersion();
    printf("olvm %d.%d (build %d.%d, %s)\n", v->versionMajor, v->versionMinor, v->buildMajor,
           v->buildMinor, v->versionText);

    float* mats = malloc(sizeof(float) * N * N * COUNT);    /* the systems' matrices */
    /* The factors. The array decomposition's last-pivot test of matrix n reads the
     * element n * 4 places further along the last stored row, past matrix n for n > 0;
     * with the matrices packed one after another that reaches at most a quarter beyond
     * the last one. The buffer is padded by that much and filled with ones beforehand,
     * so the test always reads memory of ours, holding either factors or ones. */
    const size_t lu_floats = (size_t)N * N * COUNT + (size_t)N * COUNT;
    float* lu = malloc(sizeof(float) * lu_floats);
    float* rhs = malloc(sizeof(float) * N * COUNT);
    float* sol = malloc(sizeof(float) * N * COUNT);
    unsigned int* index = malloc(sizeof(unsigned int) * N * COUNT);
    float** ppMat = malloc(sizeof(float*) * COUNT);
    float** ppLU = malloc(sizeof(float*) * COUNT);
    float** ppRhs = malloc(sizeof(float*) * COUNT);
    float** ppSol = malloc(sizeof(float*) * COUNT);
    if (!mats || !lu || !rhs || !sol || !index || !ppMat || !ppLU || !ppRhs || !ppSol) {
        fprintf(stderr, "out of memory\n");
        return 1;
    }

    for (size_t k = 0; k < lu_floats; ++k) lu[k] = 1.0f;

    /* Random matrices made well conditioned by one large entry per row, placed so that
     * the decomposition has to pivot; right-hand sides from random true solutions. */
    for (unsigned n = 0; n < COUNT; ++n) {
        float* a = mats + (size_t)n * N * N;
        float* b = rhs + (size_t)n * N;
        double x[N];
        for (int i = 0; i < N; ++i) {
            for (int j = 0; j < N; ++j) a[i * N + j] = (float)uniform();
            a[i * N + (i + n) % N] += 4.0f;
            x[i] = uniform();
        }
        for (int i = 0; i < N; ++i) {
            double s = 0.0;
            for (int j = 0; j < N; ++j) s += a[i * N + j] * x[j];
            b[i] = (float)s;
        }
        ppMat[n] = a;
        ppLU[n] = lu + (size_t)n * N * N;
        ppRhs[n] = b;
        ppSol[n] = sol + (size_t)n * N;
    }

    const int row = N * sizeof(float);
    clock_t t0 = clock();
    OlvResult r = olvmLUDecomp_ma_32f_4x4_L(ppMat, 0, row, index, ppLU, 0, row, COUNT);
    clock_t t1 = clock();
    if (r != olvResultOk) {
        printf("olvmLUDecomp_ma_32f_4x4_L failed: result %d\n", (int)r);
        return 1;
    }
    r = olvmLUBackSubst_mava_32f_4x4_L(ppLU, 0, row, index, ppRhs, 0, ppSol, 0, COUNT);
    clock_t t2 = clock();
    if (r != olvResultOk) {
        printf("olvmLUBackSubst_mava_32f_4x4_L failed: result %d\n", (int)r);
        return 1;
    }

    /* Largest residual |A x - b| over all systems, relative to the size of A x. */
    double worst = 0.0;
    for (unsigned n = 0; n < COUNT; ++n) {
        const float* a = ppMat[n];
        for (int i = 0; i < N; ++i) {
            double s = 0.0, scale = 0.0;
            for (int j = 0; j < N; ++j) {
                s += (double)a[i * N + j] * ppSol[n][j];
                scale += magnitude((double)a[i * N + j] * ppSol[n][j]);
            }
            const double res = magnitude(s - ppRhs[n][i]) / (scale + magnitude(ppRhs[n][i]));
            if (!(res <= worst)) worst = res;
        }
    }

    const double td = seconds(t0, t1), ts = seconds(t1, t2);
    printf("factored %u 4x4 systems (L layout) in %.1f ms: %.2f million systems/s\n", COUNT,
           1e3 * td, td > 0 ? COUNT / td / 1e6 : 0.0);
    printf("solved   %u 4x4 systems from the factors in %.1f ms: %.2f million systems/s\n", COUNT,
           1e3 * ts, ts > 0 ? COUNT / ts / 1e6 : 0.0);
    printf("largest relative residual |A x - b|: %.2g (single precision epsilon %.2g)\n", worst,
           1.1920928955078125e-07);

    free(mats), free(lu), free(rhs), free(sol), free(index);
    free(ppMat), free(ppLU), free(ppRhs), free(ppSol);
    return worst < 1e-5 ? 0 : 1;
}
