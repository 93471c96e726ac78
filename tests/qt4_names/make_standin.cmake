# Makes what CMake's FindQt4 takes for an installed Qt 4.8: a qmake that tells the folders, moc and rcc, headers, a library
# to link with. The headers are qt48.h beside this file.
#
#   cmake -DPREFIX=folder -DCXX=compiler [-DOBJECTS=folder] -P make_standin.cmake
#
# OBJECTS: a folder of compiled files that will be linked with the library, which gets the names of Qt that these need;
# behind each is a function that ends the program. Without OBJECTS the library is empty.
cmake_minimum_required(VERSION 3.25)

set(modules QByteArray QChar QDateTime QFile QHash QIODevice QLatin1Char QLatin1String QList QMap QMutex QMutexLocker
  QString QStringList QTextStream QTime QtGlobal)

file(MAKE_DIRECTORY "${PREFIX}/bin" "${PREFIX}/lib" "${PREFIX}/include/QtCore" "${PREFIX}/mkspecs/default")
file(TOUCH "${PREFIX}/mkspecs/qconfig.pri")
foreach(program IN ITEMS qmake moc rcc)
  file(WRITE "${PREFIX}/bin/${program}" "#!/bin/sh
case \"$2\" in
QT_VERSION) echo 4.8.7 ;;
QT_INSTALL_BINS) echo '${PREFIX}/bin' ;;
QT_INSTALL_LIBS) echo '${PREFIX}/lib' ;;
QT_INSTALL_HEADERS) echo '${PREFIX}/include' ;;
QMAKE_MKSPECS) echo '${PREFIX}/mkspecs' ;;
*) echo '${PREFIX}' ;;
esac
")
  file(CHMOD "${PREFIX}/bin/${program}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
endforeach()
foreach(header IN ITEMS ${modules} QtCore qglobal.h)
  file(WRITE "${PREFIX}/include/QtCore/${header}" "#include \"${CMAKE_CURRENT_LIST_DIR}/qt48.h\"\n")
endforeach()

set(functions "")
if(OBJECTS)
  file(GLOB_RECURSE files "${OBJECTS}/*.o")
  execute_process(COMMAND nm -u ${files} OUTPUT_VARIABLE needed COMMAND_ERROR_IS_FATAL ANY)
  # Mangled, a name of Qt's has a length and a Q in it, or it is a function whose name begins with q.
  string(REGEX MATCHALL "_Z[A-Za-z0-9_]*([0-9]Q|[0-9]q)[A-Za-z0-9_]*" needed "${needed}")
  execute_process(COMMAND nm --defined-only ${files} OUTPUT_VARIABLE own COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "_Z[A-Za-z0-9_]+" own "${own}")
  list(REMOVE_DUPLICATES needed)
  list(REMOVE_ITEM needed ${own})
  foreach(name IN LISTS needed)
    string(APPEND functions "extern \"C\" [[noreturn]] void ${name}() { __builtin_trap(); }\n")
  endforeach()
endif()
file(WRITE "${PREFIX}/lib/functions.cpp" "${functions}")
execute_process(COMMAND "${CXX}" -shared -fPIC "${PREFIX}/lib/functions.cpp" -Wl,-soname,libQtCore.so.4
  -o "${PREFIX}/lib/libQtCore.so" COMMAND_ERROR_IS_FATAL ANY)
