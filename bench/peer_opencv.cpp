#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "bench/peers.h"

namespace bench {
namespace {

using rastel::pixels::Channels;
using rastel::pixels::ChannelsOf;
using rastel::pixels::Layout;
using rastel::pixels::Rest;

/// A picture without pixels of its own.
cv::Mat Wrap(const PeerTask& task, std::ptrdiff_t channels, const std::uint8_t* bytes, std::ptrdiff_t step) {
  return {task.Height(), task.Width(), CV_8UC(static_cast<int>(channels)), const_cast<std::uint8_t*>(bytes),
          static_cast<std::size_t>(step)};
}

struct Pictures {
  explicit Pictures(const PeerTask& task)
      : source(Wrap(task, task.conversion.fromStep, task.rows.source.first, task.rows.source.step)),
        destination(
            Wrap(task, task.conversion.toStep, task.rows.destination.first, task.rows.destination.step)) {}
  cv::Mat source;
  cv::Mat destination;
};

/// The code of cvtColor, or -1. It puts alpha last, and makes it 255.
int CodeOf(const PeerTask& task) {
  static const std::map<std::pair<Layout, Layout>, int> codes = {
      {{Layout::kRGB, Layout::kRGBA}, cv::COLOR_BGR2BGRA},
      {{Layout::kBGR, Layout::kBGRA}, cv::COLOR_BGR2BGRA},
      {{Layout::kRGB, Layout::kBGRA}, cv::COLOR_RGB2BGRA},
      {{Layout::kBGR, Layout::kRGBA}, cv::COLOR_RGB2BGRA},
      {{Layout::kRGBA, Layout::kRGB}, cv::COLOR_BGRA2BGR},
      {{Layout::kBGRA, Layout::kBGR}, cv::COLOR_BGRA2BGR},
      {{Layout::kRGBA, Layout::kBGR}, cv::COLOR_RGBA2BGR},
      {{Layout::kBGRA, Layout::kRGB}, cv::COLOR_RGBA2BGR},
      {{Layout::kRGB, Layout::kBGR}, cv::COLOR_RGB2BGR},
      {{Layout::kBGR, Layout::kRGB}, cv::COLOR_RGB2BGR},
      {{Layout::kRGBA, Layout::kBGRA}, cv::COLOR_RGBA2BGRA},
      {{Layout::kBGRA, Layout::kRGBA}, cv::COLOR_RGBA2BGRA},
      {{Layout::kGray, Layout::kRGB}, cv::COLOR_GRAY2BGR},
      {{Layout::kGray, Layout::kBGRA}, cv::COLOR_GRAY2BGRA},
  };
  const auto code = codes.find({task.conversion.from, task.conversion.to});
  const bool isPacked = task.conversion.fromStep == ChannelsOf(task.conversion.from).bytes;
  return isPacked && code != codes.end() ? code->second : -1;
}

void AddCvtColor(const PeerTask& task, int code, Claim claim, std::vector<Peer>& peers) {
  peers.push_back({"OpenCV cvtColor", claim, [pictures = Pictures(task), code]() mutable {
                     cv::cvtColor(pictures.source, pictures.destination, code);
                   }});
}

/// Whatever byte goes to whatever place, and the others keep what they hold.
void AddMixChannels(const PeerTask& task, std::vector<Peer>& peers) {
  const Channels& from = ChannelsOf(task.conversion.from);
  const Channels& to = ChannelsOf(task.conversion.to);
  std::vector<int> moves;
  for (const auto& [source, destination] :
       {std::pair(from.red, to.red), std::pair(from.green, to.green), std::pair(from.blue, to.blue)}) {
    if (destination != Channels::kAbsent) {
      moves.insert(moves.end(), {source, destination});
    }
  }
  std::vector<cv::Mat> sources = {Pictures(task).source};
  if (task.conversion.rest == Rest::kFromMask) {
    const Channels& mask = ChannelsOf(task.conversion.mask);
    sources.push_back(Wrap(task, mask.bytes, task.rows.mask.first, task.rows.mask.step));
    moves.insert(moves.end(), {from.bytes + mask.green, 6 - to.red - to.green - to.blue});
  }
  peers.push_back({"OpenCV mixChannels", Claim::kSameColours,
                   [sources, moves, destinations = std::vector{Pictures(task).destination}]() mutable {
                     cv::mixChannels(sources, destinations, moves.data(), moves.size() / 2);
                   }});
}

void AddExtractChannel(const PeerTask& task, std::vector<Peer>& peers) {
  const int channel = ChannelsOf(task.conversion.from).red;
  peers.push_back(
      {"OpenCV extractChannel", Claim::kSameColours, [pictures = Pictures(task), channel]() mutable {
         cv::extractChannel(pictures.source, pictures.destination, channel);
       }});
}

/// A matrix multiplication. It rounds where the plug-in truncates.
void AddTransform(const PeerTask& task, std::vector<Peer>& peers) {
  const Channels& to = ChannelsOf(task.conversion.to);
  cv::Mat matrix = cv::Mat::zeros(to.bytes, static_cast<int>(task.conversion.fromStep), CV_32F);
  matrix.at<float>(to.red, 0) = static_cast<float>(task.conversion.weights->values[0]) / 256;
  matrix.at<float>(to.green, 0) = static_cast<float>(task.conversion.weights->values[1]) / 256;
  matrix.at<float>(to.blue, 0) = static_cast<float>(task.conversion.weights->values[2]) / 256;
  peers.push_back({"OpenCV transform", Claim::kSameTraffic, [pictures = Pictures(task), matrix]() mutable {
                     cv::transform(pictures.source, pictures.destination, matrix);
                   }});
}

void AddColorMap(const PeerTask& task, std::vector<Peer>& peers) {
  cv::Mat map(256, 1, CV_8UC3);
  const auto& values = task.conversion.tables->values;
  for (int gray = 0; gray < 256; ++gray) {
    map.at<cv::Vec3b>(gray) = {values[0][gray], values[1][gray], values[2][gray]};
  }
  peers.push_back({"OpenCV applyColorMap", Claim::kSameColours, [pictures = Pictures(task), map]() mutable {
                     cv::applyColorMap(pictures.source, pictures.destination, map);
                   }});
}

void Add(const PeerTask& task, std::vector<Peer>& peers) {
  cv::setNumThreads(1);
  const auto& conversion = task.conversion;
  if (conversion.weights != nullptr) {
    AddTransform(task, peers);
  } else if (conversion.tables != nullptr) {
    if (conversion.to == Layout::kRGB && conversion.fromStep == 1) {
      AddColorMap(task, peers);
    }
  } else if (conversion.toStep == 1) {
    AddExtractChannel(task, peers);
  } else if (const int code = CodeOf(task); code >= 0 && conversion.rest == Rest::kFill) {
    AddCvtColor(task, code, Claim::kSameColours, peers);
  } else if (conversion.from == Layout::kGray && conversion.fromStep == 1) {
    AddCvtColor(task, cv::COLOR_GRAY2BGRA, Claim::kSameTraffic, peers);
  } else {
    AddMixChannels(task, peers);
  }
}

const PeerLibrary library("OpenCV", Add);

}  // namespace
}  // namespace bench
