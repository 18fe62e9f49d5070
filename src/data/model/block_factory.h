#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/json_value.h"
#include "data/model/attribute.h"
#include "data/model/block.h"
#include "data/model/database_handle.h"

namespace vicinix {

class Sdk;

// Turns the backend's block objects into Block rows with their Attribute
// rows, and starts the download of a block's picture.
class BlockFactory {
 public:
  explicit BlockFactory(Sdk& sdk);
  static BlockFactory& shared();

  // The stored block with `id`; with `create`, a new one stored first.
  std::optional<Block> find(const std::string& id, bool create = false);
  // The block's attributes in store order; nothing without a database.
  std::vector<Attribute> attributes(const Block& block);
  // Imports one block object; nothing when it cannot be stored.
  std::optional<Block> createBlock(const JsonValue& json);
  // Fetches the picture of an IMAGE or VIDEO block into the image cache.
  void downloadImages(const Block& block);
  // Imports a campaign's block objects in order, numbered from 1, linked to
  // `campaignId`, then fetches their pictures. A block that cannot be created
  // is skipped and takes no number. When the write fails as a whole nothing
  // is imported: the blocks come again with the campaign's next refresh.
  void importBlocks(const std::vector<JsonValue>& blocks, const std::string& campaignId);

  // The store's open database; null while it cannot be opened.
  Database* realm() { return realm_.get(); }

 private:
  void fill(Database& database, Block& block, const JsonValue& json);

  Sdk& sdk_;
  DatabaseHandle realm_;
};

}  // namespace vicinix
