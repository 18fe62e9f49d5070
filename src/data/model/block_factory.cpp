#include "data/model/block_factory.h"

#include <algorithm>

#include "base/sdk.h"
#include "campaigns/image_downloader.h"
#include "data/model/attribute_table.h"
#include "data/model/block_table.h"
#include "data/model/json_reads.h"

namespace vicinix {

BlockFactory::BlockFactory(Sdk& sdk) : sdk_(sdk), realm_(sdk) {}

BlockFactory& BlockFactory::shared() {
  return Sdk::current().shared<BlockFactory>();
}

std::optional<Block> BlockFactory::find(const std::string& id, bool create) {
  auto found = realm_.read([&](Database& database) { return BlockTable(database).find(id); });
  if (!found) return std::nullopt;  // no database, or it could not be read
  if (*found || !create) return *found;
  Block block{.id = id};
  if (realm_.write([&](Database& database) { BlockTable(database).addOrUpdate(block); })) {
    return std::nullopt;
  }
  return block;
}

std::optional<Block> BlockFactory::createBlock(const JsonValue& json) {
  auto block = find(readText(json["id"]), true);
  if (!block) return std::nullopt;
  // A refused write is the file's trouble (locked, full, damaged), which the
  // handle reports and recovers from, not a programming error to stop for.
  if (realm_.write([&](Database& database) { fill(database, *block, json); })) return std::nullopt;
  downloadImages(*block);
  return block;
}

void BlockFactory::fill(Database& database, Block& block, const JsonValue& json) {
  block.type = readText(json["type"]);
  BlockTable(database).addOrUpdate(block);
  AttributeTable attributes(database);
  auto items = json["attributes"].array();
  for (size_t index = 0; index < items.size(); ++index) {
    const JsonValue& item = items[index];
    std::string id = readText(item["id"]);
    Attribute attribute = attributes.find(id).value_or(Attribute{.id = id});
    attribute.key = readText(item["key"]);
    if (std::string value = readText(item["value"]); value != attribute.value) {
      attribute.value = std::move(value);
    }
    attribute.block = block.id;
    attribute.sortIndex = static_cast<int64_t>(index);
    attributes.addOrUpdate(attribute);
  }
}

std::vector<Attribute> BlockFactory::attributes(const Block& block) {
  return realm_
      .read([&](Database& database) { return AttributeTable(database).attributesOf(block.id); })
      .value_or(std::vector<Attribute>{});
}

void BlockFactory::downloadImages(const Block& block) {
  const char* key = block.type == "IMAGE"   ? "src"
                    : block.type == "VIDEO" ? "featuredImage"
                                            : nullptr;
  if (key == nullptr) return;
  auto attributes = realm_.read(
      [&](Database& database) { return AttributeTable(database).attributesOf(block.id); });
  if (!attributes) return;
  auto picture = std::find_if(attributes->begin(), attributes->end(),
                              [key](const Attribute& attribute) { return attribute.key == key; });
  if (picture == attributes->end()) return;
  ImageDownloader::shared().downloadImage(picture->value, picture->imageName(),
                                          [](std::optional<Image>) {});
}

// One transaction for all of a campaign's blocks: a commit per block wrote the
// same pages to the log over and over and made import several times slower.
// A savepoint per block keeps a refused block from taking the others with it.
void BlockFactory::importBlocks(const std::vector<JsonValue>& blocks,
                                const std::string& campaignId) {
  std::vector<Block> imported;
  auto error = realm_.write([&](Database& database) {
    imported.clear();  // a write may be tried twice
    BlockTable table(database);
    SQLite::Database& connection = database.connection();
    int64_t sortIndex = 1;
    for (const JsonValue& json : blocks) {
      std::string id = readText(json["id"]);
      auto block = table.find(id);
      if (!block) {
        connection.exec("SAVEPOINT create_block");
        try {
          block = Block{.id = id};
          table.addOrUpdate(*block);
          connection.exec("RELEASE create_block");
        } catch (const std::exception& refused) {
          connection.exec("ROLLBACK TO create_block");
          connection.exec("RELEASE create_block");
          sdk_.debug(refused.what());
          continue;
        }
      }
      fill(database, *block, json);
      block->campaign = campaignId;
      block->sortIndex = sortIndex++;
      table.addOrUpdate(*block);
      imported.push_back(*block);
    }
  });
  // A refused import is printed and the campaign keeps its earlier blocks;
  // the next refresh tries again. Stopping the host over a busy or replaced
  // file would cost more than a page that is one refresh behind.
  if (error) return;
  for (const Block& block : imported) downloadImages(block);
}

}  // namespace vicinix
