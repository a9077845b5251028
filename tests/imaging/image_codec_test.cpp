#include "kelm/platform/graphics/image_codec.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <tuple>
#include <vector>

#include "tests/platform/graphics/pictures.h"

namespace kelm::platform {
namespace {

using pixels::decibels;
using pixels::photo;
using pixels::pictureOf;
using pixels::randomPicture;

ImageCodec& codec() { return *current<ImageCodec>(); }

void append32(Data& to, std::size_t value) {
  for (int shift = 24; shift >= 0; shift -= 8)
    to.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::string chunk(const std::string& name, const std::string& data) {
  const std::string body = name + data;
  Data bytes;
  append32(bytes, data.size());
  append(bytes, body);
  append32(bytes, crc32(0, bytesOf(body).data(), static_cast<uInt>(body.size())));
  return std::string(textOf(bytes));
}

/// A PNG whose rows, with a filter byte each, are given.
Data png(std::uint32_t width, std::uint32_t height, int bits, int colours, const std::string& rows,
         const std::string& chunks = "", int interlace = 0) {
  Data header;
  append32(header, width);
  append32(header, height);
  for (const int byte : {bits, colours, 0, 0, interlace})
    header.push_back(static_cast<std::uint8_t>(byte));
  std::string packed(compressBound(rows.size()), '\0');
  uLongf size = packed.size();
  compress(reinterpret_cast<Bytef*>(packed.data()), &size, bytesOf(rows).data(), rows.size());
  return dataOf("\x89PNG\r\n\x1A\n" + chunk("IHDR", std::string(textOf(header))) + chunks +
                chunk("IDAT", packed.substr(0, size)) + chunk("IEND", ""));
}

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values)
    text += static_cast<char>(value);
  return text;
}

TEST(ImageCodec, ReadsEveryKindOfPng) {
  const std::string palette = chunk("PLTE", bytes({255, 0, 0, 0, 0, 255}));
  using Row = std::tuple<const char*, Data, std::vector<std::uint32_t>>;
  for (const auto& [name, file, expected] :
       {Row{"gray 8", png(2, 1, 8, 0, bytes({0, 0x12, 0x80})), {0xFF121212, 0xFF808080}},
        Row{"gray 1", png(2, 1, 1, 0, bytes({0, 0x40})), {0xFF000000, 0xFFFFFFFF}},
        Row{"gray 4 with key",
            png(2, 1, 4, 0, bytes({0, 0x1F}), chunk("tRNS", bytes({0, 1}))),
            {0x00000000, 0xFFFFFFFF}},
        Row{"gray 16",
            png(2, 1, 16, 0, bytes({0, 0x80, 0x80, 0xFF, 0xFF})),
            {0xFF808080, 0xFFFFFFFF}},
        Row{"gray and alpha", png(2, 1, 8, 4, bytes({0, 0xFF, 0x80, 9, 0})), {0x80808080, 0}},
        Row{"RGB", png(2, 1, 8, 2, bytes({0, 1, 2, 3, 4, 5, 6})), {0xFF010203, 0xFF040506}},
        Row{"RGB 16 with key",
            png(2, 1, 16, 2, bytes({0, 0, 1, 0, 2, 0, 3, 255, 255, 0, 0, 0, 0}),
                chunk("tRNS", bytes({0, 1, 0, 2, 0, 3}))),
            {0, 0xFFFF0000}},
        Row{"palette", png(2, 1, 2, 3, bytes({0, 0x10}), palette), {0xFFFF0000, 0xFF0000FF}},
        Row{"palette with alpha",
            png(2, 1, 8, 3, bytes({0, 0, 1}), palette + chunk("tRNS", bytes({128}))),
            {0x80800000, 0xFF0000FF}},
        Row{"RGBA",
            png(2, 1, 8, 6, bytes({0, 255, 0, 0, 128, 1, 2, 3, 255})),
            {0x80800000, 0xFF010203}},
        Row{"RGBA 16", png(1, 1, 16, 6, bytes({0, 255, 255, 0, 0, 0, 0, 255, 255})), {0xFFFF0000}},
        Row{"interlaced",
            png(2, 2, 8, 0, bytes({0, 10, 0, 20, 0, 30, 40}), "", 1),
            {0xFF0A0A0A, 0xFF141414, 0xFF1E1E1E, 0xFF282828}},
        Row{"linear light",
            png(1, 1, 8, 0, bytes({0, 55}), chunk("gAMA", bytes({0, 1, 0x86, 0xA0}))),
            {0xFF7F7F7F}},
        Row{"sRGB in spite of its gamma",
            png(1, 1, 8, 0, bytes({0, 55}),
                chunk("gAMA", bytes({0, 1, 0x86, 0xA0})) + chunk("sRGB", bytes({0}))),
            {0xFF373737}}}) {
    const auto image = codec().decode(file);
    ASSERT_TRUE(image) << name;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const auto width = static_cast<std::size_t>(image->width());
      EXPECT_EQ(image->pixel(static_cast<int>(i % width), static_cast<int>(i / width)), expected[i])
          << name;
    }
  }
}

TEST(ImageCodec, GivesBackWhatItWrote) {
  const Image image = randomPicture(33, 17).withScale(1);
  for (unsigned number = 0; number < 8; ++number) {
    const Image turned = image.withOrientation(static_cast<Orientation>(number));
    EXPECT_EQ(codec().decode(codec().encode(turned, ImageFormat::Png).value()), turned);
    EXPECT_EQ(codec().decode(codec().encode(turned, ImageFormat::WebP).value()), turned);
    const auto jpeg = codec().decode(codec().encode(turned, ImageFormat::Jpeg).value());
    EXPECT_EQ(jpeg->orientation(), turned.orientation());
  }
  const Image colours = photo(90, 70);
  EXPECT_EQ(codec().decode(codec().encode(colours, ImageFormat::Png).value()), colours);
  for (const ImageFormat format : {ImageFormat::Jpeg, ImageFormat::WebP}) {
    const Data file = codec().encode(colours, format, {.quality = 90, .isLossless = false}).value();
    EXPECT_GT(decibels(codec().decode(file).value(), colours), 30);
  }
  EXPECT_EQ(
      codec().decode(codec().encode(pictureOf(1, {0}), ImageFormat::Jpeg).value())->pixel(0, 0),
      0xFFFFFFFFU);
}

TEST(ImageCodec, RefusesFilesThatWereCut) {
  const Image image = photo(24, 20).withOrientation(Orientation::Right);
  for (const ImageFormat format : {ImageFormat::Png, ImageFormat::Jpeg, ImageFormat::WebP}) {
    const Data file = codec().encode(image, format).value();
    for (std::size_t size = 0; size < file.size(); ++size)
      ASSERT_FALSE(codec().decode(DataView(file).first(size))) << static_cast<int>(format) << size;
  }
}

TEST(ImageCodec, RefusesAPngWithAnyByteChanged) {
  const Data file = codec().encode(randomPicture(5, 4), ImageFormat::Png).value();
  for (std::size_t at = 0; at < file.size(); ++at) {
    Data changed = file;
    changed[at] ^= 0x20;
    EXPECT_FALSE(codec().decode(changed)) << at;
  }
}

TEST(ImageCodec, RefusesBeyondTheLimitsByTheHeader) {
  for (const auto& [width, height] :
       {std::pair{0x7FFFFFFFU, 0x7FFFFFFFU}, {60000U, 60000U}, {0U, 1U}, {1U << 20, 1U << 10}})
    EXPECT_FALSE(codec().decode(png(width, height, 8, 0, "")));
  const Image image = photo(64, 64);
  for (const ImageFormat format : {ImageFormat::Png, ImageFormat::Jpeg, ImageFormat::WebP}) {
    const Data file = codec().encode(image, format).value();
    codec().setLimits({.pixels = 4095, .bytes = 1 << 20});
    EXPECT_FALSE(codec().decode(file));
    codec().setLimits({.pixels = 4096, .bytes = 16383});
    EXPECT_FALSE(codec().decode(file));
    codec().setLimits({.pixels = 4096, .bytes = 1 << 20});
    EXPECT_TRUE(codec().decode(file));
    codec().setLimits({});
  }
}

TEST(ImageCodec, TakesNoOrientationFromDamagedExif) {
  const std::string tiff = bytes({'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0x12, 0, 3, 0, 0, 0, 1, 0});
  using Row = std::pair<std::string, Orientation>;
  for (const auto& [exif, orientation] :
       {Row{tiff + bytes({6, 0, 0}), Orientation::Right},
        Row{tiff + bytes({9, 0, 0}), Orientation::Up}, Row{tiff, Orientation::Up},
        Row{bytes({'I', 'I', 42, 0, 255, 255, 255, 255}), Orientation::Up},
        Row{bytes({'I', 'I', 42, 0, 8, 0, 0, 0, 255, 255}), Orientation::Up},
        Row{"MM", Orientation::Up}}) {
    const auto image = codec().decode(png(1, 1, 8, 0, bytes({0, 1}), chunk("eXIf", exif)));
    ASSERT_TRUE(image) << exif.size();
    EXPECT_EQ(image->orientation(), orientation) << exif.size();
  }
}

}  // namespace
}  // namespace kelm::platform
