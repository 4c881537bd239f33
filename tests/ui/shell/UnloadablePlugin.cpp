// SPDX-License-Identifier: MIT
// A platform plug-in that the toolkit finds and cannot load: it needs a symbol that no library has.
#include <QObject>
#include <QtPlugin>

class UnloadablePlugin final : public QObject {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.qt-project.Qt.QPA.QPlatformIntegrationFactoryInterface.5.3" FILE
                          "UnloadablePlugin.json")
};

extern int symbolThatDoesNotExist;
extern int* const neededSymbol;
// A variable, because functions are looked up only when they are called.
int* const neededSymbol = &symbolThatDoesNotExist;

#include "UnloadablePlugin.moc"
