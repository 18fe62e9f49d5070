#include "campaigns/image_downloader.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "base/atomic_file.h"
#include "base/private_directory.h"
#include "base/sdk.h"
#include "data/model/cache_file_name.h"

namespace vicinix {

ImageDownloader::ImageDownloader(Sdk& sdk) : sdk_(sdk) {}

ImageDownloader& ImageDownloader::shared() {
  return Sdk::current().shared<ImageDownloader>();
}

std::filesystem::path ImageDownloader::imagesDirectory() const {
  return sdk_.directories().library / "Vicinix" / "Images";
}

void ImageDownloader::createImageDirectoryIfNeeded() {
  createPrivateDirectoryIfNeeded(imagesDirectory());
}

std::optional<Image> ImageDownloader::image(const std::string& name) {
  if (!isSafeFileName(name)) return std::nullopt;
  std::error_code ignored;
  std::filesystem::path file = imagesDirectory() / name;
  if (!std::filesystem::exists(file, ignored)) return std::nullopt;
  return sdk_.images().decodeFile(file);
}

void ImageDownloader::downloadImage(const std::string& path, const std::string& imageName,
                                    Completion completion) {
  createImageDirectoryIfNeeded();
  // The name becomes a file in the cache; one that could leave it is refused.
  if (path.empty() || !isSafeFileName(imageName)) {
    completion(std::nullopt);
    return;
  }
  if (std::find(downloadQueue_.begin(), downloadQueue_.end(), imageName) != downloadQueue_.end()) {
    completion(std::nullopt);
    return;
  }
  if (auto cached = image(imageName)) completion(std::move(cached));

  auto url = Url::parse(path);
  if (!url) return;
  downloadQueue_.push_back(imageName);
  downloadImageFrom(*url, [this, imageName, completion](std::optional<Image> picture) {
    if (!picture) {
      sdk_.debug("Error: no image downloaded " + imageName);
      completion(std::nullopt);
      return;
    }
    saveImage(*picture, imageName);
    std::erase(downloadQueue_, imageName);
    completion(std::move(picture));
  });
}

void ImageDownloader::downloadImageFrom(const Url& url, Completion completion) {
  HttpRequest request;
  request.method = "GET";
  request.url = url.text();
  // Pictures sit behind CDNs that redirect to the nearest copy.
  request.maxRedirects = 5;
  sdk_.http().send(
      std::move(request), [this, url, completion = std::move(completion)](HttpResponse response) {
        if (!response.error.empty() || !response.body) {
          sdk_.debug(response.error.empty() ? "Error" : response.error);
          return;
        }
        sdk_.debug("Image Downloaded: " + url.lastPathComponent());
        auto body = std::make_shared<std::string>(std::move(*response.body));
        sdk_.mainQueue().async([this, body, completion] {
          auto bytes = std::span(reinterpret_cast<const uint8_t*>(body->data()), body->size());
          completion(sdk_.images().decode(bytes));
        });
      });
}

void ImageDownloader::saveImage(const Image& image, const std::string& name) {
  if (!isSafeFileName(name)) return;
  auto data = sdk_.images().encodeJPEG(image, 85);
  if (!data) data = sdk_.images().encodePNG(image);
  if (!data) return;
  std::string bytes(data->begin(), data->end());
  if (!writeFileAtomically(imagesDirectory() / name, bytes)) {
    sdk_.debug(std::error_code(errno, std::generic_category()).message());
  }
}

}  // namespace vicinix
