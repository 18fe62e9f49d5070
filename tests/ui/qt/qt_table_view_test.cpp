#include "ui/qt/qt_table_view.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QListView>
#include <QScrollBar>
#include <QTest>
#include <set>

#include "ui/qt/qt_toolkit.h"
#include "ui/qt/qt_view_core.h"

namespace vicinix {
namespace {

const Color kWhite{1, 1, 1, 1};
const Color kBlack{0, 0, 0, 1};

// Rows of 80 with a square picture and two texts, recording what the table asks.
class RecordingSource final : public TableViewDataSource {
 public:
  RecordingSource(const FontBook& fonts, int rows) : rows(rows), fonts_(fonts) {}

  int rows;
  std::string titlePrefix = "Campaign";
  std::string subtitle = "Short";
  int subtitleLines = 2;
  std::vector<double> heights;  // 80 each when empty
  std::set<int> asked;
  std::vector<int> selected;

  int numberOfRows() override { return rows; }
  double heightForRow(int row) override {
    return heights.empty() ? 80 : heights[static_cast<size_t>(row)];
  }
  TableCell cellForRow(int row, double width) override {
    asked.insert(row);
    auto pixels = std::make_shared<std::vector<uint8_t>>(64 * 32 * 4, 200);
    return TableCell{
        .title = {titlePrefix + " " + std::to_string(row), fonts_.preferredFont(TextStyle::body),
                  kBlack, Rect{80, 12, width - 96, 24}, 1},
        .subtitle = {subtitle, fonts_.preferredFont(TextStyle::footnote), kBlack,
                     Rect{80, 38, width - 96, 34}, subtitleLines},
        .image = Image{64, 32, pixels},
        .imageFrame = {8, 8, 64, 64}};
  }
  void didSelectRow(int row) override { selected.push_back(row); }

 private:
  const FontBook& fonts_;
};

class QtTableViewTest : public ::testing::Test {
 protected:
  QtToolkit kit{Size{390, 844}};
  std::shared_ptr<QtTableView> table = std::static_pointer_cast<QtTableView>(kit.makeTableView());

  QListView* list() { return table->listView(); }

  // Shows the table on a white window of 390 x 400 points and paints it.
  QImage show(TableViewDataSource& source) {
    table->setFrame({0, 0, 390, 400});
    table->setBackgroundColor(kWhite);
    table->setDataSource(&source);
    list()->show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(list()));
    return paint();
  }
  QImage paint() { return list()->grab().toImage().convertToFormat(QImage::Format_ARGB32); }
  nlohmann::ordered_json rows() { return table->describe()["rows"]; }
};

TEST_F(QtTableViewTest, AsksOnlyForTheRowsThatShowAndDescribesThem) {
  RecordingSource source(kit.fonts(), 10000);
  show(source);
  // 400 points of 80-point rows: five rows, however long the table.
  EXPECT_EQ(source.asked, (std::set<int>{0, 1, 2, 3, 4}));
  EXPECT_TRUE(list()->uniformItemSizes());

  source.asked.clear();
  list()->verticalScrollBar()->setValue(5000 * 80 + 40);
  paint();
  EXPECT_EQ(source.asked, (std::set<int>{5000, 5001, 5002, 5003, 5004, 5005}));

  auto shown = rows();
  ASSERT_EQ(shown.size(), 6u);
  EXPECT_EQ(shown[0]["row"], 5000);
  EXPECT_EQ(shown[0]["frame"]["y"], -40);
  EXPECT_EQ(shown[1]["frame"]["y"], 40);
  EXPECT_EQ(shown[1]["frame"]["width"], 390);
  EXPECT_EQ(shown[1]["title"]["text"], "Campaign 5001");
  EXPECT_EQ(shown[1]["image"]["frame"]["width"], 64);
  EXPECT_EQ(table->describe()["contentHeight"], 10000 * 80);
  // Describing rows already painted does not ask for them again.
  EXPECT_EQ(source.asked.size(), 6u);
}

TEST_F(QtTableViewTest, TextsWrapAndElideToTheirLineCounts) {
  RecordingSource source(kit.fonts(), 3);
  source.titlePrefix = "A campaign title far too long to show on a single line of this row";
  source.subtitle =
      "A subtitle that goes on and on for much longer than two lines of the row can hold, "
      "so that whatever the font the last line it shows has to end in an ellipsis.";
  show(source);
  auto title = rows()[0]["title"]["lines"];
  ASSERT_EQ(title.size(), 1u);
  EXPECT_TRUE(title[0].get<std::string>().ends_with("…"));
  auto subtitle = rows()[0]["subtitle"]["lines"];
  ASSERT_EQ(subtitle.size(), 2u);
  EXPECT_EQ(subtitle[0].get<std::string>().rfind("A subtitle", 0), 0u);
  EXPECT_TRUE(subtitle[1].get<std::string>().ends_with("…"));

  // No line count: as many lines as the frame holds.
  source.subtitleLines = 0;
  table->reloadData();
  EXPECT_GE(rows()[0]["subtitle"]["lines"].size(), 1u);
  EXPECT_LE(rows()[0]["subtitle"]["lines"].size(), 2u);
}

TEST_F(QtTableViewTest, AClickSelectsTheRowUnderItUntilItIsDeselected) {
  RecordingSource source(kit.fonts(), 20);
  QImage before = show(source);
  QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, QPoint(200, 2 * 80 + 40));
  EXPECT_EQ(source.selected, std::vector<int>{2});
  EXPECT_EQ(rows()[2].value("selected", false), true);
  // The selection is painted as a tint over the row, and only that row.
  QImage selected = paint();
  EXPECT_NE(selected.pixel(300, 2 * 80 + 5), before.pixel(300, 2 * 80 + 5));
  EXPECT_EQ(selected.pixel(300, 1 * 80 + 5), before.pixel(300, 1 * 80 + 5));

  table->deselectRow(2, true);
  EXPECT_FALSE(rows()[2].contains("selected"));
  QTest::mouseMove(list()->viewport(), QPoint(380, 399));
  EXPECT_EQ(paint().pixel(300, 2 * 80 + 5), before.pixel(300, 2 * 80 + 5));
}

TEST_F(QtTableViewTest, ReloadDataPicksUpNewRowsOfTheirOwnHeights) {
  RecordingSource source(kit.fonts(), 2);
  show(source);
  source.rows = 4;
  source.titlePrefix = "Renamed";
  source.heights = {80, 40.5, 120, 60};
  EXPECT_EQ(rows().size(), 2u);  // until it is told
  table->reloadData();
  paint();
  auto shown = rows();
  ASSERT_EQ(shown.size(), 4u);
  EXPECT_EQ(shown[0]["title"]["text"], "Renamed 0");
  EXPECT_EQ(shown[3]["title"]["text"], "Renamed 3");
  // Rows of their own heights: each starts where Qt painted it, and a click
  // there reaches it.
  EXPECT_FALSE(list()->uniformItemSizes());
  EXPECT_EQ(shown[3]["frame"]["y"], 241);
  EXPECT_EQ(list()->visualRect(list()->model()->index(3, 0)).top(), 241);
  QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, QPoint(200, 242));
  EXPECT_EQ(source.selected, std::vector<int>{3});

  table->setDataSource(nullptr);
  EXPECT_EQ(rows().size(), 0u);
}

TEST_F(QtTableViewTest, SeparatorsKeepTheirInsetsAndCanBeTurnedOff) {
  RecordingSource source(kit.fonts(), 20);
  table->setSeparatorInsets(80, 16);
  // Each pixel of the first row's last pixel line against the empty pixel two
  // lines above it: the row's own background, hover wash included (the
  // pointer may rest over the row).
  const int line = 79;
  const auto ruled = [&](const QImage& image, int x) {
    return image.pixel(x, line) != image.pixel(x, line - 2);
  };
  QImage lined = show(source);
  EXPECT_TRUE(ruled(lined, 200));
  EXPECT_FALSE(ruled(lined, 40));   // inside the left inset
  EXPECT_FALSE(ruled(lined, 380));  // inside the right inset

  table->setSeparatorStyle(SeparatorStyle::none);
  EXPECT_FALSE(ruled(paint(), 200));
  EXPECT_EQ(table->describe()["separatorStyle"], "none");
}

}  // namespace
}  // namespace vicinix
