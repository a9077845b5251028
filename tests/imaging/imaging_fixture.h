#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "kelm/platform/graphics/screen.h"
#include "tests/platform/graphics/pictures.h"

namespace kelm {

/// A main screen of two pixels a point.
class OnScreen : public testing::Test {
 private:
  platform::ScopedService<platform::Screen> screen_{
      std::make_shared<platform::FixedScreen>(platform::ScreenInfo{{400, 300}, 2, {}, {}})};
};

}  // namespace kelm
