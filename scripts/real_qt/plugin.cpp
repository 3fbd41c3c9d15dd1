#include <QObject>

// A plugin that does nothing: whether Qt finds it shows its plugin path.
class SamplePlugin : public QObject {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "zq.Sample")
};

#include "plugin.moc"
