# What most sources of a library include, precompiled for the builds that ask for it.
if(NOT KESTRELNET_PRECOMPILE)
  return()
endif()

set(standard <functional> <map> <memory> <optional> <string> <string_view> <vector>)

target_precompile_headers(kestrelnet_platform PRIVATE ${standard}
  <QCoreApplication> <QFile> <QObject> <QString> <QTimer> <filesystem> <mutex> <thread>)
target_precompile_headers(kestrelnet_core PRIVATE ${standard})
target_precompile_headers(kestrelnet_system REUSE_FROM kestrelnet_core)
if(NOT APPLE)
  target_precompile_headers(kestrelnet_desktop PRIVATE ${standard}
    <QCoreApplication> <QDBusConnection> <QDBusMessage> <QDBusPendingCallWatcher> <QObject> <QString>)
endif()
target_precompile_headers(kestrelnet_widgets PRIVATE ${standard}
  <QApplication> <QHBoxLayout> <QLabel> <QPainter> <QPushButton> <QVBoxLayout>)
foreach(room panel settings shell)
  target_precompile_headers(kestrelnet_${room} REUSE_FROM kestrelnet_widgets)
endforeach()
