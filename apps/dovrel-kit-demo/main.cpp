// dovrel-kit-demo: a window laid out only with the kit's anchors: a habit row, a form and a
// table of habits. It shows what the kit does on a real desktop, and its screenshots (light,
// dark, right-to-left) are how we look at the kit.
//
//   dovrel-kit-demo [--appearance light|dark] [--rtl] [--screenshot FILE]
//
// With --screenshot the window is drawn, saved as a PNG and the program exits: 0 when the image
// holds a drawn window, 1 when it came out blank.

#include <QApplication>
#include <QCheckBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/UI/HasLayoutAnchors.h"
#include "DovrelFoundation/UI/OverridableUserInterfaceStyle.h"
#include "DovrelFoundation/UI/Styles.h"
#include "DovrelFoundation/UI/ViewModels.h"
#include "platform/ui/Appearance.h"
#include "platform/ui/table/TableView.h"
#include "platform/ui/table/TableViewDataSource.h"

namespace {

using dovrel::AnchoredView;
using dovrel::ui::LayoutRelation;

constexpr double kMargin = 16;
constexpr double kSpacing = 8;

// A view that takes part in anchors, inside `parent`.
template <typename Widget, typename... Arguments>
Widget* make(QWidget* parent, Arguments&&... arguments) {
    auto* widget = new Widget(std::forward<Arguments>(arguments)..., parent);
    dovrel::ui::View(widget).setTranslatesAutoresizingMaskIntoConstraints(false);
    return widget;
}

QWidget* colourDot(QWidget* parent, const dovrel::Color& colour, double size) {
    auto* dot = make<QWidget>(parent);
    dovrel::apply(dot, dovrel::ViewStyle{colour});
    AnchoredView(dot).pinSize(QSizeF(size, size));
    return dot;
}

// The first row of the habit list: colour, name and question, progress, today's check.
QWidget* habitRow(QWidget* parent) {
    auto* row = make<QWidget>(parent);
    dovrel::apply(row, dovrel::ViewStyle{dovrel::backgroundGray()});
    QWidget* dot = colourDot(row, dovrel::sky(), 24);
    auto* name = make<QLabel>(row, "Drink water");
    QFont bold = name->font();
    bold.setBold(true);
    name->setFont(bold);
    auto* question = make<QLabel>(row, "Did you drink eight glasses today?");
    dovrel::apply(question, dovrel::LabelStyle{dovrel::ViewStyle{dovrel::backgroundGray()},
                                               dovrel::foregroundGray()});
    auto* progress = make<QLabel>(row, "72");
    auto* check = make<QPushButton>(row);
    dovrel::setup(check, dovrel::ButtonViewModel{"Done", nullptr});

    AnchoredView(dot).pinLeadingEqualToSuperview(kSpacing);
    AnchoredView(dot).pinCenterYEqualToSuperview();
    AnchoredView(name).pinLeading(LayoutRelation::equal, AnchoredView(dot).trailingAnchor(),
                                  kSpacing);
    AnchoredView(name).pinTopEqualToSuperview(kSpacing);
    AnchoredView(question).pinLeading(LayoutRelation::equal, AnchoredView(name));
    AnchoredView(question).pinTop(LayoutRelation::equal, AnchoredView(name).bottomAnchor(), 2);
    AnchoredView(question).pinBottomEqualToSuperview(-kSpacing);
    AnchoredView(check).pinTrailingEqualToSuperview(-kSpacing);
    AnchoredView(check).pinCenterYEqualToSuperview();
    AnchoredView(progress).pinTrailing(LayoutRelation::equal, AnchoredView(check).leadingAnchor(),
                                       -kSpacing);
    AnchoredView(progress).pinCenterYEqualToSuperview();
    AnchoredView(question).pinTrailing(LayoutRelation::lessThanOrEqual,
                                       AnchoredView(progress).leadingAnchor(), -kSpacing);
    return row;
}

// A form: labelled fields in two columns (the labels' trailing edges aligned), the palette and
// a reminder switch.
QWidget* form(QWidget* parent) {
    auto* box = make<QWidget>(parent);
    const char* titles[] = {"Name", "Question"};
    const char* placeholders[] = {"Read twenty pages", "Did you read today?"};
    QWidget* above = nullptr;
    QLabel* firstLabel = nullptr;
    for (int i = 0; i < 2; ++i) {
        auto* label = make<QLabel>(box, titles[i]);
        auto* field = make<QLineEdit>(box);
        field->setPlaceholderText(placeholders[i]);
        AnchoredView(label).pinLeadingEqualToSuperview();
        if (firstLabel != nullptr) {
            AnchoredView(label).pinTrailing(LayoutRelation::equal, AnchoredView(firstLabel));
        } else {
            AnchoredView(label).pinWidth(LayoutRelation::equal, 90.0);
            firstLabel = label;
        }
        AnchoredView(field).pinLeading(LayoutRelation::equal, AnchoredView(label).trailingAnchor(),
                                       kSpacing);
        AnchoredView(field).pinTrailingEqualToSuperview();
        AnchoredView(label).pinCenterY(LayoutRelation::equal, AnchoredView(field));
        if (above == nullptr) {
            AnchoredView(field).pinTopEqualToSuperview();
        } else {
            AnchoredView(field).pinTop(LayoutRelation::equal, AnchoredView(above).bottomAnchor(),
                                       kSpacing);
        }
        above = field;
    }
    auto* colours = make<QLabel>(box, "Colour");
    AnchoredView(colours).pinLeadingEqualToSuperview();
    AnchoredView(colours).pinTop(LayoutRelation::equal, AnchoredView(above).bottomAnchor(),
                                 2 * kSpacing);
    QWidget* previous = nullptr;
    for (const dovrel::Color& colour : dovrel::habitPalette()) {
        QWidget* dot = colourDot(box, colour, 28);
        AnchoredView(dot).pinCenterY(LayoutRelation::equal, AnchoredView(colours));
        if (previous == nullptr) {
            AnchoredView(dot).pinLeading(LayoutRelation::equal,
                                         AnchoredView(firstLabel).trailingAnchor(), kSpacing);
        } else {
            AnchoredView(dot).pinLeading(LayoutRelation::equal,
                                         AnchoredView(previous).trailingAnchor(), 6);
        }
        previous = dot;
    }
    auto* reminder = make<QCheckBox>(box, "Remind me at 09:00");
    reminder->setChecked(true);
    AnchoredView(reminder).pinLeading(LayoutRelation::equal,
                                      AnchoredView(firstLabel).trailingAnchor(), kSpacing);
    AnchoredView(reminder).pinTop(LayoutRelation::equal, AnchoredView(colours).bottomAnchor(),
                                  2 * kSpacing);
    AnchoredView(reminder).pinBottomEqualToSuperview();
    return box;
}

// The habits of a table: a colour and a name per row.
class HabitRows : public dovrel::ui::TableViewDataSource {
  public:
    std::size_t numberOfRowsInSection(dovrel::ui::TableView&, std::size_t) override {
        return names_.size();
    }
    QWidget* cellForRowAt(dovrel::ui::TableView& table,
                          const dovrel::store::IndexPath& indexPath) override {
        QWidget* cell = table.dequeueReusableCell("HabitCell", indexPath);
        auto* label = cell->findChild<QLabel*>();
        label->setText(names_[indexPath.row() % names_.size()]);
        auto* dot = cell->findChild<QWidget*>("dot");
        const auto& palette = dovrel::habitPalette();
        dovrel::apply(dot, dovrel::ViewStyle{palette[indexPath.row() % palette.size()]});
        return cell;
    }

  private:
    std::vector<QString> names_ = {"Drink water",  "Read twenty pages", "Walk 8,000 steps",
                                   "Meditate",     "Stretch",           "Call a friend",
                                   "No sugar",     "Practise guitar",   "Sleep by 23:00",
                                   "Write a page", "Learn ten words",   "Floss"};
};

QWidget* habitCell() {
    auto* cell = new QWidget;
    auto* dot = make<QWidget>(cell);
    dot->setObjectName("dot");
    AnchoredView(dot).pinSize(QSizeF(12, 12));
    AnchoredView(dot).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(dot).pinCenterYEqualToSuperview();
    auto* name = make<QLabel>(cell);
    AnchoredView(name).pinLeading(LayoutRelation::equal, AnchoredView(dot).trailingAnchor(),
                                  kSpacing);
    AnchoredView(name).pinCenterYEqualToSuperview();
    AnchoredView(name).pinTrailingLessThanOrEqualToSuperview(-kMargin);
    return cell;
}

struct Options {
    dovrel::UserInterfaceStyle style = dovrel::UserInterfaceStyle::unspecified;
    bool rightToLeft = false;
    std::string screenshot;
};

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--appearance") == 0 && i + 1 < argc) {
            const std::string style = argv[++i];
            options.style = style == "dark" ? dovrel::UserInterfaceStyle::dark
                                            : dovrel::UserInterfaceStyle::light;
        } else if (std::strcmp(argv[i], "--rtl") == 0) {
            options.rightToLeft = true;
        } else if (std::strcmp(argv[i], "--screenshot") == 0 && i + 1 < argc) {
            options.screenshot = argv[++i];
        }
    }
    return options;
}

// Whether an image shows more than a blank window: a drawn window has many colours.
bool looksDrawn(const QImage& image) {
    std::set<QRgb> colours;
    for (int y = 0; y < image.height(); y += 3) {
        for (int x = 0; x < image.width(); x += 3)
            colours.insert(image.pixel(x, y));
    }
    return colours.size() > 20;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const Options options = parse(argc, argv);
    if (options.rightToLeft)
        application.setLayoutDirection(Qt::RightToLeft);

    QWidget window;
    window.setWindowTitle("Dovrel kit");
    window.resize(480, 640);
    dovrel::StyledView(&window).setOverrideUserInterfaceStyle(options.style);
    dovrel::apply(&window, dovrel::ViewStyle{dovrel::backgroundDefault()});

    auto* title = make<QLabel>(&window, "Today");
    QFont large = title->font();
    large.setPointSizeF(large.pointSizeF() * 1.6);
    large.setBold(true);
    title->setFont(large);
    QWidget* row = habitRow(&window);
    QWidget* details = form(&window);
    auto* table = make<dovrel::ui::TableView>(&window);
    table->setRowHeight(36);
    table->registerCell("HabitCell", habitCell);
    auto rows = std::make_shared<HabitRows>();
    table->setDataSource(rows);
    table->reloadData();

    AnchoredView(title).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(title).pinTopEqualToSuperview(kMargin);
    for (QWidget* block : {row, details, static_cast<QWidget*>(table)}) {
        AnchoredView(block).pinLeadingEqualToSuperview(kMargin);
        AnchoredView(block).pinTrailingEqualToSuperview(-kMargin);
    }
    AnchoredView(row).pinTop(LayoutRelation::equal, AnchoredView(title).bottomAnchor(), kSpacing);
    AnchoredView(details).pinTop(LayoutRelation::equal, AnchoredView(row).bottomAnchor(),
                                 2 * kMargin);
    AnchoredView(table).pinTop(LayoutRelation::equal, AnchoredView(details).bottomAnchor(),
                               2 * kMargin);
    AnchoredView(table).pinBottomEqualToSuperview(-kMargin);

    window.show();
    if (options.screenshot.empty())
        return application.exec();

    int status = 1;
    QTimer::singleShot(300, [&] {
        dovrel::ui::View(&window).layoutIfNeeded();
        const QImage image = window.grab().toImage();
        status =
            image.save(QString::fromStdString(options.screenshot)) && looksDrawn(image) ? 0 : 1;
        application.quit();
    });
    application.exec();
    return status;
}
