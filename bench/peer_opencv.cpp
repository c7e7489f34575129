#include <map>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "bench/peers.h"

namespace bench {
namespace {

/// A picture without pixels of its own.
template <typename Byte>
cv::Mat Wrap(const Task& task, const Side<Byte>& side) {
  return {task.height, task.width, CV_8UC(side.bytes()), const_cast<std::uint8_t*>(side.first),
          static_cast<std::size_t>(side.rowStep)};
}

/// Lets `convert` work on the source and the destination.
template <typename Convert>
std::function<void()> Run(const Task& task, Convert convert) {
  return [source = Wrap(task, task.source), destination = Wrap(task, task.destination), convert]() mutable {
    convert(source, destination);
  };
}

/// The code of cvtColor, or -1. It puts alpha last, and makes it 255.
int CodeOf(const Task& task) {
  static const std::map<std::string, int> codes = {
      {"RGB to RGBA", cv::COLOR_BGR2BGRA},   {"RGB to BGRA", cv::COLOR_RGB2BGRA},
      {"RGBA to RGB", cv::COLOR_BGRA2BGR},   {"BGRA to RGB", cv::COLOR_RGBA2BGR},
      {"RGBA to BGRA", cv::COLOR_RGBA2BGRA}, {"BGRA to RGBA", cv::COLOR_RGBA2BGRA},
      {"RGB to BGR", cv::COLOR_RGB2BGR},     {"BGR to RGB", cv::COLOR_RGB2BGR},
      {"Y to RGB", cv::COLOR_GRAY2BGR},      {"Y to BGRA", cv::COLOR_GRAY2BGRA},
  };
  const auto code = codes.find(task.Layouts());
  return code == codes.end() ? -1 : code->second;
}

std::function<void()> CvtColor(const Task& task, int code) {
  return Run(task, [code](cv::Mat& from, cv::Mat& to) { cv::cvtColor(from, to, code); });
}

/// Whatever byte goes to whatever place, and the others keep what they hold.
std::function<void()> MixChannels(const Task& task) {
  const std::string& from = task.source.layout;
  std::vector<int> moves;
  for (int place = 0; place < task.destination.bytes(); ++place) {
    const char letter = task.destination.layout[static_cast<std::size_t>(place)];
    if (letter == 'M') {
      moves.insert(moves.end(), {task.source.bytes() + static_cast<int>(task.mask.layout.find('G')), place});
    } else if (letter != 'A' && letter != 'X') {
      const char read = from.starts_with('Y') ? 'Y' : letter;
      moves.insert(moves.end(), {static_cast<int>(from.find(read)), place});
    }
  }
  std::vector<cv::Mat> sources = {Wrap(task, task.source)};
  if (task.HasMask()) {
    sources.push_back(Wrap(task, task.mask));
  }
  return [sources, moves, destinations = std::vector{Wrap(task, task.destination)}]() mutable {
    cv::mixChannels(sources, destinations, moves.data(), moves.size() / 2);
  };
}

std::function<void()> ExtractChannel(const Task& task) {
  const auto channel = static_cast<int>(task.source.layout.find(task.destination.layout));
  return Run(task, [channel](cv::Mat& from, cv::Mat& to) { cv::extractChannel(from, to, channel); });
}

/// A matrix multiplication. It rounds where the plug-in truncates.
std::function<void()> Transform(const Task& task) {
  cv::Mat matrix = cv::Mat::zeros(task.destination.bytes(), task.source.bytes(), CV_32F);
  for (std::size_t channel = 0; channel < 3; ++channel) {
    const auto place = static_cast<int>(task.destination.layout.find("RGB"[channel]));
    matrix.at<float>(place, 0) = static_cast<float>((*task.weights)[channel]) / 256;
  }
  return Run(task, [matrix](cv::Mat& from, cv::Mat& to) { cv::transform(from, to, matrix); });
}

std::function<void()> ApplyColorMap(const Task& task) {
  cv::Mat map(256, 1, CV_8UC3);
  for (int gray = 0; gray < 256; ++gray) {
    const auto value = static_cast<std::uint8_t>(gray);
    map.at<cv::Vec3b>(gray) = {task.LookUp(0, value), task.LookUp(1, value), task.LookUp(2, value)};
  }
  return Run(task, [map](cv::Mat& from, cv::Mat& to) { cv::applyColorMap(from, to, map); });
}

}  // namespace

Peer OpenCvPeer(const Task& task) {
  cv::setNumThreads(1);
  if (task.weights) {
    return Contestant(Role::kPeer, "OpenCV transform", Transform(task), kOnlySameTraffic);
  }
  if (task.palettes && task.destination.layout == "RGB") {
    return Contestant(Role::kPeer, "OpenCV applyColorMap", ApplyColorMap(task));
  }
  if (task.palettes) {
    return std::nullopt;
  }
  if (task.destination.bytes() == 1) {
    return Contestant(Role::kPeer, "OpenCV extractChannel", ExtractChannel(task));
  }
  if (const int code = CodeOf(task); code >= 0) {
    return Contestant(Role::kPeer, "OpenCV cvtColor", CvtColor(task, code));
  }
  if (task.source.layout == "Y") {
    return Contestant(Role::kPeer, "OpenCV cvtColor", CvtColor(task, cv::COLOR_GRAY2BGRA), kOnlySameTraffic);
  }
  return Contestant(Role::kPeer, "OpenCV mixChannels", MixChannels(task));
}

}  // namespace bench
