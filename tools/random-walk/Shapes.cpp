#include "tools/random-walk/Shapes.h"

namespace Test::RandomWalk {

std::span< const Shape > shapes() {
  static const Shape all[] = {
      { "one-pipe",
        { .slices = 6,
          .depth = 8,
          .statistics = 18,
          .keyBits = 190,
          .paired = true,
          .dataChunks = 4 } },
      { "two-units",
        { .pipes = 2, .units = 2, .slices = 2, .largeSlices = 2, .depth = 8, .statistics = 20 } },
      { "half-size", { .pipes = 2, .slices = 5, .depth = 12, .statistics = 25, .halfSize = true } },
      { "two-copies",
        { .pipes = 2,
          .secondCopy = true,
          .slices = 6,
          .depth = 8,
          .statistics = 24,
          .keyBits = 190,
          .paired = true } },
      { "preselectors",
        { .pipes = 4,
          .secondCopy = true,
          .presels = true,
          .units = 2,
          .slices = 4,
          .depth = 10,
          .statistics = 30,
          .fixedKeys = true,
          .dataFormats = 4 } },
      { "shared", { .pipes = 4, .shared = true, .slices = 4, .depth = 9, .statistics = 25 } } };
  return all;
}

}  // namespace Test::RandomWalk
