#include <QObject>

// Does nothing. If Qt finds it, Qt's plugin path is right.
class SamplePlugin : public QObject {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "zq.Sample")
};

#include "plugin.moc"
