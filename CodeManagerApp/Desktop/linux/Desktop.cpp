#include "CodeManagerApp/Desktop/Native.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <unistd.h>

#include <gio/gio.h>

#include "ManagerCore/Foundation/FilePath.h"

namespace CodeManagerApp::Desktop
{

namespace
{

template <typename Object> struct Unref {
    void operator()(Object* object) const { g_object_unref(object); }
};
template <typename Object> using Owned = std::unique_ptr<Object, Unref<Object>>;

struct FreeText {
    void operator()(char* text) const { g_free(text); }
};
using OwnedText = std::unique_ptr<char, FreeText>;

// The words of GLib's errors end without a full stop.
std::string sentence(GError* error)
{
    if (error == nullptr) {
        return "The desktop did not say why.";
    }
    std::string text = error->message;
    g_error_free(error);
    if (!text.ends_with('.')) {
        text += ".";
    }
    return text;
}

OwnedText addressOf(const std::filesystem::path& file)
{
    return OwnedText(g_filename_to_uri(file.c_str(), nullptr, nullptr));
}

std::optional<std::string> openAddress(const char* address)
{
    GError* error = nullptr;
    if (address != nullptr && g_app_info_launch_default_for_uri(address, nullptr, &error) != FALSE) {
        return std::nullopt;
    }
    return sentence(error);
}

// Asks the file manager over the session's bus; false where none understands.
bool selectInFileManager(const char* address)
{
    constexpr int patience = 5000; // milliseconds
    const Owned<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (!bus || address == nullptr) {
        return false;
    }
    const std::array<const char*, 2> addresses {address, nullptr};
    GVariant* const answer = g_dbus_connection_call_sync(bus.get(),
                                                         "org.freedesktop.FileManager1",
                                                         "/org/freedesktop/FileManager1",
                                                         "org.freedesktop.FileManager1",
                                                         "ShowItems",
                                                         g_variant_new("(^ass)", addresses.data(), ""),
                                                         nullptr,
                                                         G_DBUS_CALL_FLAGS_NONE,
                                                         patience,
                                                         nullptr,
                                                         nullptr);
    if (answer == nullptr) {
        return false;
    }
    g_variant_unref(answer);
    return true;
}

std::optional<bool> animationsOfTheDesktop()
{
    GSettingsSchemaSource* const source = g_settings_schema_source_get_default();
    GSettingsSchema* const schema
        = source != nullptr ? g_settings_schema_source_lookup(source, "org.gnome.desktop.interface", TRUE) : nullptr;
    if (schema == nullptr) {
        return std::nullopt;
    }
    const bool known = g_settings_schema_has_key(schema, "enable-animations") != FALSE;
    g_settings_schema_unref(schema);
    if (!known) {
        return std::nullopt;
    }
    const Owned<GSettings> settings(g_settings_new("org.gnome.desktop.interface"));
    return g_settings_get_boolean(settings.get(), "enable-animations") != FALSE;
}

} // namespace

std::optional<std::string> notify(const std::string& application, const std::string& message)
{
    constexpr int patience = 5000; // milliseconds
    GError* error = nullptr;
    const Owned<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error));
    if (!bus) {
        return sentence(error);
    }
    GVariantBuilder hints;
    g_variant_builder_init(&hints, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&hints, "{sv}", "desktop-entry", g_variant_new_string("code-manager"));
    // The message is the summary: a body could be taken for markup.
    GVariant* const answer = g_dbus_connection_call_sync(
        bus.get(),
        "org.freedesktop.Notifications",
        "/org/freedesktop/Notifications",
        "org.freedesktop.Notifications",
        "Notify",
        g_variant_new(
            "(susssasa{sv}i)", application.c_str(), 0U, "code-manager", message.c_str(), "", nullptr, &hints, -1),
        nullptr,
        G_DBUS_CALL_FLAGS_NONE,
        patience,
        nullptr,
        &error);
    if (answer == nullptr) {
        return sentence(error);
    }
    g_variant_unref(answer);
    return std::nullopt;
}

bool hasGraphicsProcessor()
{
    constexpr std::array nodes {"/dev/dri/renderD128", "/dev/dri/renderD129", "/dev/nvidiactl"};
    return std::ranges::any_of(nodes, [](const char* node) { return ::access(node, R_OK | W_OK) == 0; });
}

bool wantsReducedMotion() { return !animationsOfTheDesktop().value_or(true); }

std::string preferredFamily() { return "Inter"; }

UsualText usualText() { return {.points = 11, .dotsPerInch = 96}; }

namespace Native
{

std::optional<std::string> open(const std::filesystem::path& file) { return openAddress(addressOf(file).get()); }

std::optional<std::string> reveal(const std::filesystem::path& item)
{
    if (selectInFileManager(addressOf(item).get())) {
        return std::nullopt;
    }
    return openAddress(addressOf(ManagerCore::FilePath::parent(item)).get());
}

// Desktops share no set of symbols of these names.
bool drawSymbol(const std::string& /*name*/, std::uint32_t /*colour*/, Picture& /*picture*/) { return false; }

} // namespace Native

} // namespace CodeManagerApp::Desktop
