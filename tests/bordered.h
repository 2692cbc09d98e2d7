// A region of interest with real memory on all four sides, as a guarded
// image: what a filter that reads its neighbourhood from the caller's memory
// needs. roi() is the region's first pixel; at(x, y) reads relative to it, at
// any x in -left .. width + right - 1 and y alike.
#ifndef TPX_TESTS_BORDERED_H
#define TPX_TESTS_BORDERED_H

#include <cstddef>

#include "tests/harness.h"

namespace tpxtest {

struct Margins {
  int left, top, right, bottom;
};

template <typename T>
struct Bordered {
  // padBytes lie after each row (odd counts give steps that are not a whole
  // number of elements).
  Bordered(int w, int h, Margins m, int padBytes = 0)
      : margins(m),
        width(w),
        height(h),
        img(m.left + w + m.right, m.top + h + m.bottom,
            int(sizeof(T)) * (m.left + w + m.right) + padBytes) {}

  T* roi() {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(img.ptr()) +
                                std::ptrdiff_t(margins.top) * img.step()) +
           margins.left;
  }
  int step() const { return img.step(); }
  T at(int x, int y) const { return img.get(margins.left + x, margins.top + y); }
  void set(int x, int y, T v) { img.set(margins.left + x, margins.top + y, v); }

  Margins margins;
  int width, height;
  Image<T> img;
};

}  // namespace tpxtest

#endif  // TPX_TESTS_BORDERED_H
