#pragma once

#include <QGenericPlugin>

// How the toolkit finds the watch.
class WindowWatchPlugin : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "window-watch.json")

public:
    QObject* create(const QString& name, const QString& specification) override;
};
