/*
 * tpxfind: template matching end to end. Generates a scene, cuts a template
 * out of it, adds noise to the scene, finds the template again with the
 * mean-removed normalised cross-correlation and prints where, how well and
 * how fast. Uses the public API only, through libtpx.so.
 */
#define _POSIX_C_SOURCE 199309L
#include <math.h>
#include <stdio.h>
#include <time.h>

#include "tpx.h"

enum { kSceneW = 640, kSceneH = 480, kTplW = 48, kTplH = 32, kTplX = 411, kTplY = 287 };

static unsigned int seed = 12345u;
/* Uniform in [0, 1): a small linear congruential generator, reproducible. */
static float uniform(void) {
  seed = seed * 1664525u + 1013904223u;
  return (float)(seed >> 8) / 16777216.0f;
}

static double secondsNow(void) {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return (double)ts.tv_sec + 1e-9 * (double)ts.tv_nsec;
}

int main(void) {
  int sceneStep = 0, tplStep = 0, outStep = 0;
  const int outW = kSceneW - kTplW + 1, outH = kSceneH - kTplH + 1;
  Tpx32f* scene = tpxiMalloc_32f_C1(kSceneW, kSceneH, &sceneStep);
  Tpx32f* tpl = tpxiMalloc_32f_C1(kTplW, kTplH, &tplStep);
  Tpx32f* out = tpxiMalloc_32f_C1(outW, outH, &outStep);
  if (scene == NULL || tpl == NULL || out == NULL) {
    fprintf(stderr, "tpxfind: out of memory\n");
    return 1;
  }
  /* A textured scene: overlapping waves and random speckle. */
  for (int y = 0; y < kSceneH; ++y) {
    Tpx32f* row = (Tpx32f*)((char*)scene + (size_t)y * sceneStep);
    for (int x = 0; x < kSceneW; ++x) {
      row[x] = 0.5f + 0.2f * sinf(0.031f * x + 0.017f * y) * cosf(0.023f * y - 0.011f * x) +
               0.3f * uniform();
    }
  }
  /* The template: a copy of the scene at a known place. */
  TpxStatus status =
      tpxiCopy_32f_C1R((const Tpx32f*)((const char*)scene + (size_t)kTplY * sceneStep) + kTplX,
                       sceneStep, tpl, tplStep, (TpxiSize){kTplW, kTplH});
  /* Noise on the scene afterwards, so the match is not exact. */
  for (int y = 0; y < kSceneH; ++y) {
    Tpx32f* row = (Tpx32f*)((char*)scene + (size_t)y * sceneStep);
    for (int x = 0; x < kSceneW; ++x) row[x] += 0.1f * (uniform() - 0.5f);
  }

  const double t0 = secondsNow();
  if (status == tpxStsNoErr) {
    status =
        tpxiCrossCorrValid_NormLevel_32f_C1R(scene, sceneStep, (TpxiSize){kSceneW, kSceneH}, tpl,
                                             tplStep, (TpxiSize){kTplW, kTplH}, out, outStep);
  }
  const double t1 = secondsNow();
  Tpx32f best = 0;
  int bestX = -1, bestY = -1;
  if (status == tpxStsNoErr) {
    status = tpxiMaxIndx_32f_C1R(out, outStep, (TpxiSize){outW, outH}, &best, &bestX, &bestY);
  }
  if (status != tpxStsNoErr) {
    fprintf(stderr, "tpxfind: %s\n", tpxGetStatusString(status));
    return 1;
  }
  printf("scene %dx%d, template %dx%d cut at (%d, %d), noise added\n", kSceneW, kSceneH, kTplW,
         kTplH, kTplX, kTplY);
  printf("found at (%d, %d), score %.4f, in %.2f ms (variant %s)\n", bestX, bestY, best,
         (t1 - t0) * 1e3, tpxiGetLibVersion()->cpuCode);
  tpxiFree(out);
  tpxiFree(tpl);
  tpxiFree(scene);
  return bestX == kTplX && bestY == kTplY ? 0 : 2;
}
