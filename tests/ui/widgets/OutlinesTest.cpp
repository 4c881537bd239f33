// SPDX-License-Identifier: MIT
// What identifies a control stands out from the ground, measured on drawn pixels.
#include "tests/ui/Contrast.h"
#include "ui/style/Colors.h"
#include "ui/widgets/Buttons.h"
#include "ui/widgets/Switch.h"
#include "ui/widgets/TextField.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QWidget>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>

namespace kestrelnet {

namespace {

struct Control {
    const char* name;
    std::function<std::unique_ptr<QWidget>()> make;
};

FilledButton* filled(ColorRole tint) {
    auto* const button = new FilledButton;
    button->setContent({}, QStringLiteral("Save"), tint);
    return button;
}

Switch* flipped(bool isOn) {
    auto* const made = new Switch(QStringLiteral("Start"));
    made->setChecked(isOn);
    return made;
}

template <typename Made>
Control control(const char* name, Made make) {
    return {name, [make] { return std::unique_ptr<QWidget>(make()); }};
}

const Control controls[] = {
    control("field", [] { return new TextField; }),
    control("button",
            [] { return new BorderedButton(QStringLiteral("Cancel"), ColorRole::primary); }),
    control("redButton",
            [] { return new BorderedButton(QStringLiteral("Uninstall"), ColorRole::red); }),
    control("accentFill", [] { return filled(ColorRole::accent); }),
    control("greenFill", [] { return filled(ColorRole::green); }),
    control("redFill", [] { return filled(ColorRole::red); }),
    control("switchOff", [] { return flipped(false); }),
    control("switchOn", [] { return flipped(true); }),
};

class OutlinesTest : public testing::TestWithParam<std::tuple<ColorMode, QPalette::ColorRole>> {
  protected:
    const ColorMode mode = std::get<0>(GetParam());
    const QColor ground = modePalette(mode).color(std::get<1>(GetParam()));

    OutlinesTest() { setColorMode(mode); }
    ~OutlinesTest() override {
        setColorMode({});
        QApplication::setPalette(QPalette());
    }

    /// `control` on the ground, without the keyboard focus.
    QImage drawn(QWidget& control, qreal scale) const {
        control.resize(control.sizeHint());
        QImage image(control.size() * scale, QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(scale);
        image.fill(ground);
        control.render(&image, {}, {}, QWidget::DrawChildren);
        return image;
    }

    /// The highest contrast with the ground within three units of the right end of the middle row,
    /// not counting the ground itself.
    double contrastOfOutline(const QImage& image) const {
        const int scale = qRound(image.devicePixelRatio() + 0.49);
        const auto row = [&](int x) { return image.pixelColor(x, image.height() / 2); };
        int x = image.width() - 1;
        while (x > 0 && contrast(row(x), ground) < 1.05) {
            --x;
        }
        double best = 1;
        for (int i = 0; i < 2 * scale && x - i >= 0; ++i) {
            best = std::max(best, contrast(row(x - i), ground));
        }
        return best;
    }
};

TEST_P(OutlinesTest, theOutlineOfEachControlIsVisible) {
    for (const Control& each : controls) {
        const std::unique_ptr<QWidget> control = each.make();
        for (const qreal scale : {1.0, 1.5, 2.0}) {
            EXPECT_GE(contrastOfOutline(drawn(*control, scale)), distinct)
                << each.name << " at a scale of " << scale;
        }
    }
}

std::string nameOf(const testing::TestParamInfo<OutlinesTest::ParamType>& info) {
    const auto& [mode, ground] = info.param;
    return std::string(mode.scheme == Scheme::dark ? "Dark" : "Light") +
           (mode.contrast == Contrast::high ? "High" : "") +
           (ground == QPalette::Button ? "OnCard" : "OnWindow");
}

INSTANTIATE_TEST_SUITE_P(Modes, OutlinesTest,
                         testing::Combine(testing::Values(ColorMode{Scheme::light,
                                                                    Contrast::normal},
                                                          ColorMode{Scheme::light, Contrast::high},
                                                          ColorMode{Scheme::dark, Contrast::normal},
                                                          ColorMode{Scheme::dark, Contrast::high}),
                                          testing::Values(QPalette::Window, QPalette::Button)),
                         nameOf);

} // namespace

} // namespace kestrelnet
