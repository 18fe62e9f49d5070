#include "data/model/block_factory.h"

#include "campaigns/image_downloader.h"
#include "core/fatal.h"
#include "core/sdk.h"
#include "data/model/attribute_table.h"
#include "data/model/block_table.h"
#include "data/model/json_reads.h"
#include "data/model/realm_configurator.h"

namespace vicinix {

BlockFactory::BlockFactory(Sdk& sdk)
    : sdk_(sdk), realm_(Database::open(RealmConfigurator::vicinixConfiguration())) {}

BlockFactory& BlockFactory::shared() {
  return Sdk::current().shared<BlockFactory>();
}

std::optional<Block> BlockFactory::find(const std::string& id, bool create) {
  if (!realm_) return std::nullopt;
  try {
    if (auto found = BlockTable(*realm_).find(id)) return found;
  } catch (const std::exception& error) {
    sdk_.debug(error.what());
    return std::nullopt;
  }
  if (!create) return std::nullopt;
  Block block{.id = id};
  if (auto error = realm_->write([&] { BlockTable(*realm_).addOrUpdate(block); })) {
    sdk_.debug(*error);
    return std::nullopt;
  }
  return block;
}

std::optional<Block> BlockFactory::createBlock(const JsonValue& json) {
  auto block = find(readText(json["id"]), true);
  if (!block) return std::nullopt;
  if (auto error = realm_->write([&] { fill(*block, json); })) {
    fatal("Unable to import a block: " + *error);
  }
  downloadImages(*block);
  return block;
}

void BlockFactory::fill(Block& block, const JsonValue& json) {
  block.type = readText(json["type"]);
  BlockTable(*realm_).addOrUpdate(block);
  AttributeTable attributes(*realm_);
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
  if (!realm_) return {};
  try {
    return AttributeTable(*realm_).attributesOf(block.id);
  } catch (const std::exception& error) {
    sdk_.debug(error.what());
    return {};
  }
}

void BlockFactory::downloadImages(const Block& block) {
  const char* key = block.type == "IMAGE"   ? "src"
                    : block.type == "VIDEO" ? "featuredImage"
                                            : nullptr;
  if (key == nullptr || !realm_) return;
  std::optional<Attribute> picture;
  try {
    for (const Attribute& attribute : AttributeTable(*realm_).attributesOf(block.id)) {
      if (attribute.key == key) {
        picture = attribute;
        break;
      }
    }
  } catch (const std::exception& error) {
    sdk_.debug(error.what());
  }
  if (!picture) return;
  ImageDownloader::shared().downloadImage(picture->value, picture->imageName(),
                                          [](std::optional<Image>) {});
}

// One transaction for all of a campaign's blocks: a commit per block wrote the
// same pages to the log over and over and made import several times slower.
// A savepoint per block keeps a refused block from taking the others with it.
void BlockFactory::importBlocks(const std::vector<JsonValue>& blocks,
                                const std::string& campaignId) {
  if (!realm_) return;
  std::vector<Block> imported;
  auto error = realm_->write([&] {
    BlockTable table(*realm_);
    SQLite::Database& connection = realm_->connection();
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
      fill(*block, json);
      block->campaign = campaignId;
      block->sortIndex = sortIndex++;
      table.addOrUpdate(*block);
      imported.push_back(*block);
    }
  });
  if (error) fatal("Unable to import the blocks of campaign " + campaignId + ": " + *error);
  for (const Block& block : imported) downloadImages(block);
}

}  // namespace vicinix
