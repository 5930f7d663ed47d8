#include "CodeManagerApp/Model/GuideTopics.h"

#include <array>

namespace CodeManagerApp
{

namespace
{

struct Topic {
    const char* title;
    const char* symbol;
    QRgb tint;
    const char* text; // what follows "Everything NAME" where it tells of the product
    bool tellsOfProduct = false;
};

constexpr std::array topics {
    Topic {.title = "Overview",
           .symbol = "gauge.with.dots.needle.33percent",
           .tint = 0xFF2F6FED,
           .text = "A grounded health snapshot: installed version, backend state, served model, and provider — "
                   "all probed from disk, never guessed."},
    Topic {.title = "Components",
           .symbol = "shippingbox",
           .tint = 0xFFD97706,
           .text = " put on disk. Tick items and Remove to move ONLY those to the Trash (recoverable). It never "
                   "mass-uninstalls.",
           .tellsOfProduct = true},
    Topic {.title = "Install",
           .symbol = "arrow.down.circle",
           .tint = 0xFF22A55A,
           .text = "Build + install / update the CLI from your source project. Locate the project folder once; "
                   "it's remembered per-user."},
    Topic {.title = "Model",
           .symbol = "brain",
           .tint = 0xFF7C5CE0,
           .text = "The local MLX model this app uses: presence, size, and a reversible Trash-remove that stops "
                   "the backend first."},
    Topic {.title = "Crucible",
           .symbol = "flame",
           .tint = 0xFFD9483B,
           .text = "Every crucible copy and which drive holds it, plus the two symlinks that decide behaviour. "
                   "Set the crucible folder on any drive, pick which copy is served, or repair a dangling link. "
                   "Only links change — weights are never moved by this pane."},
    Topic {.title = "Services",
           .symbol = "bolt.horizontal.circle",
           .tint = 0xFF0E9384,
           .text = "Start / stop / restart the mlx-vantor backend LaunchAgent and open its log. Buttons follow "
                   "the live running state."},
    Topic {.title = "Databases",
           .symbol = "cylinder.split.1x2",
           .tint = 0xFF4F46E5,
           .text = "Install zyn databases (db-orchid, db-quill). Each is a hot-loadable *.toml descriptor "
                   "(source → dest); Install copies, Remove trashes."},
    Topic {.title = "Missing from Spotlight?",
           .symbol = "magnifyingglass",
           .tint = 0xFF5B6476,
           .text = "App data is 12 disk locations plus one that is NOT a file: the LaunchServices database. If "
                   "many paths (staging dirs, out/ folders, old copies) are registered under one bundle id, an "
                   "app that launches fine with `open -a` still shows No Results in Spotlight's Applications "
                   "view. Fix: lsregister -u each stale path, -f the real one, then killall Dock. "
                   "install-to-applications.command does this sweep on every install."},
};

} // namespace

QList<GuideTopic> guideTopics(const QString& display)
{
    QList<GuideTopic> list;
    for (const Topic& topic : topics) {
        const QString text = QString::fromUtf8(topic.text);
        list.append({.id = QUuid::createUuid(),
                     .symbol = QString::fromLatin1(topic.symbol),
                     .tint = QColor::fromRgb(topic.tint),
                     .title = QString::fromLatin1(topic.title),
                     .text = topic.tellsOfProduct ? QStringLiteral("Everything ") + display + text : text});
    }
    return list;
}

} // namespace CodeManagerApp
