#include "platform/linux/gdk_pixbuf_image_codec.h"

#include <fcntl.h>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>

namespace vicinix {
namespace {

struct GObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <class T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct ErrorFree {
  void operator()(GError* error) const { g_error_free(error); }
};
using ErrorPtr = std::unique_ptr<GError, ErrorFree>;

bool startsWith(std::span<const uint8_t> data, std::string_view magic) {
  return data.size() >= magic.size() && std::memcmp(data.data(), magic.data(), magic.size()) == 0;
}

bool isWebP(std::span<const uint8_t> head) {
  return startsWith(head, "RIFF") && head.size() >= 12 && startsWith(head.subspan(8), "WEBP");
}

// The loader for the bytes' format, by their signature; nothing for formats
// we do not read.
const char* loaderType(std::span<const uint8_t> head) {
  if (startsWith(head, "\x89PNG\r\n\x1a\n")) return "png";
  if (startsWith(head, "\xff\xd8\xff")) return "jpeg";
  if (startsWith(head, "GIF87a") || startsWith(head, "GIF89a")) return "gif";
  if (isWebP(head)) return "webp";
  return nullptr;
}

uint32_t littleEndian(std::span<const uint8_t> bytes, size_t at, size_t count) {
  uint32_t value = 0;
  for (size_t i = 0; i < count; ++i) value |= uint32_t(bytes[at + i]) << (8 * i);
  return value;
}

struct Size {
  int64_t width = 0;
  int64_t height = 0;
};

// A WebP picture's size from its first chunk, read before any pixel is: the
// WebP loader decodes the whole file before it says how large it is.
std::optional<Size> webPSize(std::span<const uint8_t> head) {
  if (head.size() < 30) return std::nullopt;  // every kind of first chunk fits in 30 bytes
  auto chunk = head.subspan(12, 4);
  if (startsWith(chunk, "VP8 ")) {
    // Lossy: a 3-byte frame tag, the start code, then 14-bit sizes.
    if (!startsWith(head.subspan(23), "\x9d\x01\x2a")) return std::nullopt;
    return Size{littleEndian(head, 26, 2) & 0x3fff, littleEndian(head, 28, 2) & 0x3fff};
  }
  if (startsWith(chunk, "VP8L")) {
    // Lossless: a signature byte, then width - 1 and height - 1 in 14 bits each.
    if (head[20] != 0x2f) return std::nullopt;
    uint32_t bits = littleEndian(head, 21, 4);
    return Size{int64_t(bits & 0x3fff) + 1, int64_t((bits >> 14) & 0x3fff) + 1};
  }
  if (startsWith(chunk, "VP8X")) {
    // Extended: flags, then the canvas's width - 1 and height - 1 in 24 bits each.
    return Size{int64_t(littleEndian(head, 24, 3)) + 1, int64_t(littleEndian(head, 27, 3)) + 1};
  }
  return std::nullopt;
}

bool withinLimit(int64_t width, int64_t height, int64_t maxPixels) {
  // The int limit keeps width * 4 (a row of RGBA) inside gdk-pixbuf's ints.
  return width > 0 && height > 0 && width <= INT_MAX / 4 && height <= INT_MAX / 4 &&
         width * height <= maxPixels;
}

// Feeds a picture to a GdkPixbufLoader piece by piece.
class Decoder {
 public:
  explicit Decoder(int64_t maxPixels) : maxPixels_(maxPixels) {}
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  ~Decoder() {
    // A loader must be closed before it goes, or it complains on stderr.
    if (loader_ && !closed_) gdk_pixbuf_loader_close(loader_.get(), nullptr);
  }

  // The first piece must hold the signature; short files come in one piece.
  bool write(std::span<const uint8_t> piece) {
    if (failed_) return false;
    if (!loader_ && !open(piece)) return fail();
    if (piece.empty()) return true;
    GError* error = nullptr;
    if (!gdk_pixbuf_loader_write(loader_.get(), piece.data(), piece.size(), &error)) {
      ErrorPtr owned(error);
      return fail();
    }
    return !tooLarge_ || fail();
  }

  std::optional<Image> finish() {
    if (failed_ || !loader_) return std::nullopt;
    GError* error = nullptr;
    closed_ = true;
    bool closedCleanly = gdk_pixbuf_loader_close(loader_.get(), &error);
    ErrorPtr owned(error);
    if (!closedCleanly || tooLarge_) return std::nullopt;
    GdkPixbuf* frame = gdk_pixbuf_loader_get_pixbuf(loader_.get());
    if (frame == nullptr) return std::nullopt;
    // Phone cameras store pictures sideways with a rotation tag.
    GObjectPtr<GdkPixbuf> upright(gdk_pixbuf_apply_embedded_orientation(frame));
    if (!upright) return std::nullopt;
    return toImage(upright.get());
  }

 private:
  bool open(std::span<const uint8_t> head) {
    const char* type = loaderType(head);
    if (type == nullptr) return false;
    if (isWebP(head)) {
      auto size = webPSize(head);
      if (!size || !withinLimit(size->width, size->height, maxPixels_)) return false;
    }
    GError* error = nullptr;
    loader_.reset(gdk_pixbuf_loader_new_with_type(type, &error));
    ErrorPtr owned(error);
    if (!loader_) return false;
    g_signal_connect(loader_.get(), "size-prepared", G_CALLBACK(sizePrepared), this);
    return true;
  }

  bool fail() {
    failed_ = true;
    return false;
  }

  static void sizePrepared(GdkPixbufLoader* loader, gint width, gint height, gpointer self) {
    auto* decoder = static_cast<Decoder*>(self);
    if (withinLimit(width, height, decoder->maxPixels_)) return;
    decoder->tooLarge_ = true;
    // A zero size makes the module give up before it allocates the pixels.
    gdk_pixbuf_loader_set_size(loader, 0, 0);
  }

  std::optional<Image> toImage(GdkPixbuf* pixbuf) const {
    int width = gdk_pixbuf_get_width(pixbuf);
    int height = gdk_pixbuf_get_height(pixbuf);
    int channels = gdk_pixbuf_get_n_channels(pixbuf);
    bool alpha = gdk_pixbuf_get_has_alpha(pixbuf);
    if (!withinLimit(width, height, maxPixels_) ||
        gdk_pixbuf_get_colorspace(pixbuf) != GDK_COLORSPACE_RGB ||
        gdk_pixbuf_get_bits_per_sample(pixbuf) != 8 || channels != (alpha ? 4 : 3)) {
      return std::nullopt;
    }
    size_t rowstride = static_cast<size_t>(gdk_pixbuf_get_rowstride(pixbuf));
    const guint8* source = gdk_pixbuf_read_pixels(pixbuf);
    auto rgba = std::make_shared<std::vector<uint8_t>>(size_t(width) * size_t(height) * 4);
    uint8_t* target = rgba->data();
    for (int y = 0; y < height; ++y) {
      // The last row may be shorter than the stride.
      const guint8* row = source + size_t(y) * rowstride;
      if (alpha) {
        std::memcpy(target, row, size_t(width) * 4);
        target += size_t(width) * 4;
        continue;
      }
      for (int x = 0; x < width; ++x, row += 3, target += 4) {
        target[0] = row[0];
        target[1] = row[1];
        target[2] = row[2];
        target[3] = 255;
      }
    }
    return Image{.width = width, .height = height, .rgba = std::move(rgba)};
  }

  int64_t maxPixels_;
  GObjectPtr<GdkPixbufLoader> loader_;
  bool tooLarge_ = false;
  bool failed_ = false;
  bool closed_ = false;
};

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) close(fd_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

// Reads like read(2), retrying interruptions and short reads until `buffer`
// is full or the file ends; -1 on error.
ssize_t readFully(int fd, std::span<uint8_t> buffer) {
  size_t filled = 0;
  while (filled < buffer.size()) {
    ssize_t got = read(fd, buffer.data() + filled, buffer.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    filled += size_t(got);
  }
  return ssize_t(filled);
}

bool encodable(const Image& image, int64_t maxPixels) {
  return !image.empty() && withinLimit(image.width, image.height, maxPixels) &&
         image.rgba->size() == size_t(image.width) * size_t(image.height) * 4;
}

std::optional<std::vector<uint8_t>> save(GdkPixbuf* pixbuf, const char* type, char** keys,
                                         char** values) {
  gchar* buffer = nullptr;
  gsize size = 0;
  GError* error = nullptr;
  if (!gdk_pixbuf_save_to_bufferv(pixbuf, &buffer, &size, type, keys, values, &error)) {
    ErrorPtr owned(error);
    g_free(buffer);
    return std::nullopt;
  }
  std::vector<uint8_t> bytes(buffer, buffer + size);
  g_free(buffer);
  return bytes;
}

}  // namespace

bool GdkPixbufImageCodec::canRead(const char* type) {
  GSList* formats = gdk_pixbuf_get_formats();
  bool found = false;
  for (GSList* item = formats; item != nullptr && !found; item = item->next) {
    gchar* name = gdk_pixbuf_format_get_name(static_cast<GdkPixbufFormat*>(item->data));
    found = std::strcmp(name, type) == 0;
    g_free(name);
  }
  g_slist_free(formats);
  return found;
}

std::optional<Image> GdkPixbufImageCodec::decode(std::span<const uint8_t> data) {
  Decoder decoder(maxPixels_);
  if (!decoder.write(data)) return std::nullopt;
  return decoder.finish();
}

std::optional<Image> GdkPixbufImageCodec::decodeFile(const std::filesystem::path& path) {
  FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (file.get() < 0 || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  Decoder decoder(maxPixels_);
  std::vector<uint8_t> buffer(64 * 1024);
  for (;;) {
    ssize_t got = readFully(file.get(), buffer);
    if (got < 0) return std::nullopt;
    if (!decoder.write(std::span(buffer.data(), size_t(got)))) return std::nullopt;
    if (size_t(got) < buffer.size()) break;
  }
  return decoder.finish();
}

std::optional<std::vector<uint8_t>> GdkPixbufImageCodec::encodeJPEG(const Image& image,
                                                                    double quality) {
  if (!encodable(image, maxPixels_)) return std::nullopt;
  GObjectPtr<GdkPixbuf> flat(
      gdk_pixbuf_new(GDK_COLORSPACE_RGB, FALSE, 8, image.width, image.height));
  if (!flat) return std::nullopt;
  guint8* target = gdk_pixbuf_get_pixels(flat.get());
  size_t rowstride = size_t(gdk_pixbuf_get_rowstride(flat.get()));
  const uint8_t* source = image.rgba->data();
  for (int y = 0; y < image.height; ++y) {
    guint8* row = target + size_t(y) * rowstride;
    for (int x = 0; x < image.width; ++x, source += 4, row += 3) {
      unsigned alpha = source[3];
      for (int c = 0; c < 3; ++c) {
        row[c] = guint8((source[c] * alpha + 255 * (255 - alpha) + 127) / 255);
      }
    }
  }
  // NaN counts as the best quality, like anything above 1.
  double clamped = std::isnan(quality) ? 1.0 : std::clamp(quality, 0.0, 1.0);
  std::string percent = std::to_string(std::lround(clamped * 100));
  std::array<char*, 2> keys{const_cast<char*>("quality"), nullptr};
  std::array<char*, 2> values{percent.data(), nullptr};
  return save(flat.get(), "jpeg", keys.data(), values.data());
}

std::optional<std::vector<uint8_t>> GdkPixbufImageCodec::encodePNG(const Image& image) {
  if (!encodable(image, maxPixels_)) return std::nullopt;
  // Wraps the pixels without copying; gdk-pixbuf only reads them here.
  GObjectPtr<GdkPixbuf> wrapped(gdk_pixbuf_new_from_data(image.rgba->data(), GDK_COLORSPACE_RGB,
                                                         TRUE, 8, image.width, image.height,
                                                         image.width * 4, nullptr, nullptr));
  if (!wrapped) return std::nullopt;
  return save(wrapped.get(), "png", nullptr, nullptr);
}

}  // namespace vicinix
