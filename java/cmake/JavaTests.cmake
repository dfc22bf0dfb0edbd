add_test(NAME javadoc COMMAND "${Java_JAVADOC_EXECUTABLE}" -quiet -Xdoclint:all -Werror --release 17 -encoding UTF-8
  -d "${CMAKE_CURRENT_BINARY_DIR}/javadoc" ${theSources})
set_tests_properties(javadoc PROPERTIES TIMEOUT 300 LABELS java)

# JUnit 5 tests in a JVM that checks every JNI call. Debian's junit5 brings the jars.

set(QUORIX_JUNIT_DIR "/usr/share/java" CACHE PATH "Folder with the jars of JUnit 5")
set(theJUnitJars "")
foreach(aJar IN ITEMS junit-jupiter-api junit-jupiter-params junit-jupiter-engine junit-platform-commons
    junit-platform-engine junit-platform-launcher junit-platform-console junit-platform-reporting
    opentest4j opentest4j-reporting-events opentest4j-reporting-schema apiguardian-api picocli)
  find_file(QUORIX_JAR_${aJar} "${aJar}.jar" PATHS "${QUORIX_JUNIT_DIR}" NO_DEFAULT_PATH)
  if(NOT QUORIX_JAR_${aJar})
    quorix_skip_tests("JUnit 5 (junit5, ${aJar}.jar)" java java_imagej java_samples java_soak java_bridge)
    return()
  endif()
  list(APPEND theJUnitJars "${QUORIX_JAR_${aJar}}")
endforeach()

file(GLOB_RECURSE theTestSources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/src/test/java/*.java")
# Debian's JUnit names annotations and jars that need not be there to use it.
set(CMAKE_JAVA_COMPILE_FLAGS -encoding UTF-8 --release 17 -Xlint:all,-classfile,-path ${theJavaWarnings})
add_jar(quorix_java_tests
  SOURCES ${theTestSources}
  INCLUDE_JARS quorix_classes_jar ${theJUnitJars}
  OUTPUT_NAME quorix-java-tests)
add_dependencies(quorix_java_tests quorix_jar quorix_examples_jar)
get_target_property(theTestJar quorix_java_tests JAR_FILE)
get_target_property(theExamplesJar quorix_examples_jar JAR_FILE)

set(theTool "")
if(TARGET quorix-decompress)
  set(theTool "$<TARGET_FILE:quorix-decompress>")
endif()

# quorix_add_java_tests(<name> <seconds> <arguments of the console launcher>...)
# Runs the tests that the arguments choose. What -Xcheck:jni finds fault with fails the test. The locale lets
# file names have any letters.
function(quorix_add_java_tests theName theTimeout)
  set(aClassPath ${theJar} ${theTestJar} ${theExamplesJar} ${theJUnitJars})
  set(aFolder "${CMAKE_CURRENT_BINARY_DIR}/${theName}")
  file(MAKE_DIRECTORY "${aFolder}")
  add_test(NAME ${theName} COMMAND "${Java_JAVA_EXECUTABLE}" -Xcheck:jni -Xmx512m
    "-Djava.awt.headless=true" "-Djava.io.tmpdir=${aFolder}"
    "-Dquorix.library.path=$<TARGET_FILE:QuorixDecompLib>"
    "-Dquorix.test.samples=${QUORIX_SAMPLES_DIR}"
    "-Dquorix.test.tool=${theTool}"
    "-Dquorix.test.jar=${theJar}"
    "-Dquorix.test.docs=${PROJECT_SOURCE_DIR}/docs"
    -cp "$<JOIN:${aClassPath},:>"
    org.junit.platform.console.ConsoleLauncher --disable-banner --disable-ansi-colors
      --details=tree --fail-if-no-tests ${ARGN})
  set_tests_properties(${theName} PROPERTIES
    TIMEOUT ${theTimeout}
    LABELS java
    ENVIRONMENT "LC_ALL=C.UTF-8"
    FAIL_REGULAR_EXPRESSION "WARNING in native method;FATAL ERROR in native method;WARNING: JNI")
endfunction()

quorix_add_java_tests(java 300 "--scan-class-path=${theTestJar}"
  --exclude-package=com.quorix.bridge --exclude-tag=soak --exclude-tag=samples --exclude-tag=imagej)
# A program of others that reads through ImageIO.
find_file(QUORIX_JAR_ij ij.jar PATHS "${QUORIX_JUNIT_DIR}" NO_DEFAULT_PATH)
if(QUORIX_JAR_ij)
  list(APPEND theJUnitJars "${QUORIX_JAR_ij}")
  quorix_add_java_tests(java_imagej 120 "--scan-class-path=${theTestJar}" --include-tag=imagej)
else()
  quorix_skip_tests("ImageJ (libij-java)" java_imagej)
endif()
quorix_add_java_tests(java_samples 600 "--scan-class-path=${theTestJar}" --include-tag=samples)
set_tests_properties(java_samples PROPERTIES SKIP_REGULAR_EXPRESSION "no sample images at")
quorix_add_java_tests(java_soak 1200 "--scan-class-path=${theTestJar}" --include-tag=soak)
# With all of the Java heap touched beforehand and what is freed given back at once, the process grows only by
# what is kept.
set_tests_properties(java_soak PROPERTIES ENVIRONMENT
  "LC_ALL=C.UTF-8;JDK_JAVA_OPTIONS=-Xms512m -XX:+AlwaysPreTouch;MALLOC_ARENA_MAX=1;MALLOC_TRIM_THRESHOLD_=131072")
if(theTestSources MATCHES "/com/quorix/bridge/")
  quorix_add_java_tests(java_bridge 600 "--scan-class-path=${theTestJar}"
    --include-package=com.quorix.bridge --exclude-tag=soak --exclude-tag=samples)
endif()
