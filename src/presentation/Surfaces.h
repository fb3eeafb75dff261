#pragma once

#include "presentation/dashboard/DashboardPresentation.h"
#include "presentation/popover/PopoverPresentation.h"
#include "presentation/settings/PrivacyDisclosurePresentation.h"
#include "presentation/settings/SettingsPresentation.h"
#include "presentation/status/TrayPresentation.h"

namespace vantry {

/// The tray in both its forms, with its menu.
struct TrayPresentation {
    StatusItemPresentation item;
    TrayImage image;
    std::vector<TrayMenuEntry> menu;

    friend bool operator==(const TrayPresentation&, const TrayPresentation&) = default;
};

template <>
struct RecordFields<TrayPresentation> {
    static constexpr std::tuple list{field("item", &TrayPresentation::item),
                                     field("image", &TrayPresentation::image),
                                     field("menu", &TrayPresentation::menu)};
};

TrayPresentation tray(const SurfaceInput& input);

/// Every value of every surface, to be printed.
struct Surfaces {
    TrayPresentation tray;
    PopoverPresentation popover;
    DashboardPresentation dashboard;
    SettingsPresentation settings;
    PrivacyDisclosurePresentation disclosure;
    QuotaRecoveryPresentation recovery;

    friend bool operator==(const Surfaces&, const Surfaces&) = default;
};

template <>
struct RecordFields<Surfaces> {
    static constexpr std::tuple list{field("tray", &Surfaces::tray),
                                     field("popover", &Surfaces::popover),
                                     field("dashboard", &Surfaces::dashboard),
                                     field("settings", &Surfaces::settings),
                                     field("disclosure", &Surfaces::disclosure),
                                     field("recovery", &Surfaces::recovery)};
};

Surfaces surfaces(const SurfaceInput& input);

}  // namespace vantry
