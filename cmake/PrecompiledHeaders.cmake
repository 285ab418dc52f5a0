# The headers that most files include, compiled once for all of them: that halves the time of a build
# from nothing. Every file still includes what it uses, and builds with TAKEBOX_PRECOMPILE=OFF, too.
# Only for GCC, the compiler of the presets that are built daily; clang-tidy and the fuzzers do without.

option(TAKEBOX_PRECOMPILE "Compile the headers that most files include only once (GCC)" ON)

set(core_headers
  <algorithm> <array> <atomic> <cerrno> <chrono> <cmath> <cstddef> <cstdint> <cstdio> <cstdlib> <cstring>
  <functional> <limits> <map> <memory> <mutex> <optional> <span> <string> <string_view> <thread> <utility>
  <vector>
  <QByteArray> <QCoreApplication> <QDateTime> <QDir> <QFile> <QFileInfo> <QLocale> <QObject> <QSocketNotifier>
  <QString> <QStringList> <QTimer> <QVariant> <QVariantMap>)
set(widgets_headers ${core_headers}
  <QApplication> <QColor> <QComboBox> <QDialog> <QIcon> <QImage> <QLabel> <QLineEdit> <QMainWindow>
  <QMenu> <QPainter> <QPushButton> <QStyle> <QWidget>)
set(gtest_headers <QElapsedTimer> <QTemporaryDir> <gtest/gtest.h> <gmock/gmock.h>)

# takebox_precompiled(KIND HEADERS ... LINKS ...): headers for targets compiled as those that link LINKS.
function(takebox_precompiled kind)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;LINKS")
  set(source "${PROJECT_BINARY_DIR}/precompiled_${kind}.cpp")
  file(TOUCH "${source}")
  add_library(precompiled_${kind} OBJECT "${source}")
  set_target_properties(precompiled_${kind} PROPERTIES AUTOMOC OFF AUTORCC OFF)
  target_link_libraries(precompiled_${kind} PRIVATE takebox_options ${arg_LINKS})
  target_precompile_headers(precompiled_${kind} PRIVATE ${arg_HEADERS})
endfunction()

# takebox_precompile(TARGET KIND): what TARGET includes of the headers of KIND is compiled already.
function(takebox_precompile target kind)
  if(TARGET precompiled_${kind})
    target_precompile_headers(${target} REUSE_FROM precompiled_${kind})
  endif()
endfunction()

if(NOT TAKEBOX_PRECOMPILE OR NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  return()
endif()

# The first is for ccache, where there is one; and who builds with other flags is to be slow, not stopped.
add_compile_options(-fpch-preprocess -Wno-error=invalid-pch)

takebox_precompiled(core HEADERS ${core_headers} LINKS Qt6::Core)
takebox_precompiled(widgets HEADERS ${widgets_headers} LINKS Qt6::Widgets)
if(TAKEBOX_TESTS)
  takebox_precompiled(test
    HEADERS ${core_headers} ${gtest_headers} LINKS takebox_test_options Qt6::Core GTest::gmock)
  takebox_precompiled(widgets_test
    HEADERS ${widgets_headers} ${gtest_headers} LINKS takebox_test_options Qt6::Widgets GTest::gmock)
endif()
