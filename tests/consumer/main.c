/* Uses a few exports from C and prints what it saw; exits 0 on success. */
#include <stdio.h>
#include <tpx.h>

int main(void) {
  int step = 0;
  Tpx8u* image = tpxiMalloc_8u_C1(33, 2, &step);
  const TpxVersionRecord* v = tpxiGetLibVersion();
  int ok = image != NULL && step == 64 && v != NULL && v->major == 5;
  printf("%s %s %s step %d\n", v->libraryName, v->versionText, tpxGetStatusString(0), step);
  tpxiFree(image);
  return ok ? 0 : 1;
}
