#pragma once

#include "quarry/diagnostics/objectCounters.h"
#include "quarry/icons/icon.h"

#include <utility>

namespace quarry {

/// The record of one PNG file in the icon cache.
class IconImpl : public Icon {
 public:
  IconImpl(std::uint64_t width, std::uint64_t height, std::uint64_t depth, std::wstring name, std::wstring path)
      : width_(width), height_(height), depth_(depth), name_(std::move(name)), path_(std::move(path)) {}

  std::uint64_t GetWidth() const override { return width_; }
  std::uint64_t GetHeight() const override { return height_; }
  std::uint64_t GetDepth() const override { return depth_; }
  std::wstring GetName() const override { return name_; }
  std::wstring GetPath() const override { return path_; }

 private:
  std::uint64_t width_;
  std::uint64_t height_;
  std::uint64_t depth_;
  std::wstring name_;
  std::wstring path_;
  ObjectCount count_{"IconImpl"};
};

}  // namespace quarry
