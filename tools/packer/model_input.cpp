#include "packer/model_input.h"

#include <algorithm>
#include <set>
#include <system_error>

#include "ending/failure.h"
#include "fmu_file/archive_writer.h"
#include "packer/java_side.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

// Its name is always the same, and so is the FMU, wherever the model's files lie.
constexpr const char* jarOfClasses = "model.jar";

// What the files of a model are made of.
struct Parts {
  std::vector<fs::path> javaFiles, classDirectories, jars;  // the libraries come last
};

void addDirectory(Parts& parts, const fs::path& directory) {
  bool classes = false;
  const std::size_t before = parts.javaFiles.size();
  for (const fs::path& file : filesBelow(directory)) {
    classes = classes || file.extension() == ".class";
    // The description of a module would hide the library's package from the model.
    if (file.extension() == ".java" && file.filename() != "module-info.java")
      parts.javaFiles.push_back(file);
  }
  if (parts.javaFiles.size() > before) return;
  if (!classes) {
    throw Failure(directory.string() + " holds no model: there are neither .java nor .class files",
                  ExitCode::usage);
  }
  parts.classDirectories.push_back(directory);
}

Parts partsOf(const ModelInput& input) {
  Parts parts;
  for (const fs::path& file : input.model) {
    if (fs::is_directory(file)) {
      addDirectory(parts, file);
    } else if (file.extension() == ".java") {
      parts.javaFiles.push_back(file);
    } else if (file.extension() == ".jar") {
      parts.jars.push_back(file);
    } else {
      throw Failure(file.string() +
                        " is no part of a model, expected .java files, a directory of " +
                        "sources or classes, or a jar",
                    ExitCode::usage);
    }
  }
  for (const fs::path& jar : input.jars) {
    if (fs::is_directory(jar) || jar.extension() == ".java") {
      throw Failure("--jar " + jar.string() +
                        ": expected a jar; the files of the model itself stand " + "without --jar",
                    ExitCode::usage);
    }
    parts.jars.push_back(jar);
  }
  return parts;
}

void compile(const ModelInput& input, const Parts& parts, const fs::path& classes, JNIEnv* env) {
  const std::size_t classPath = parts.classDirectories.size() + parts.jars.size();
  std::vector<std::string> question = {input.release, classes.string(), std::to_string(classPath)};
  for (const auto* const list : {&parts.classDirectories, &parts.jars, &parts.javaFiles}) {
    for (const fs::path& file : *list) question.push_back(file.string());
  }
  fs::create_directories(classes);
  askJava(env, "ModelCompiler", question, 1);
}

void packClasses(const std::vector<fs::path>& directories, const fs::path& jar) {
  std::vector<ArchiveEntry> entries;
  for (const fs::path& directory : directories) {
    for (const fs::path& file : filesBelow(directory)) {
      entries.push_back({file.lexically_relative(directory).generic_string(), file, {}});
    }
  }
  writeArchive(jar, entries, 0);  // the same classes are the same jar at any time
}

void copyJar(const fs::path& jar, const fs::path& resources, std::set<std::string>& names) {
  const std::string name = jar.filename().string();
  // model.properties would need escapes for these, and importers stumble over them.
  if (name.find('\\') != name.npos || name.starts_with(' ') || printable(name) != name) {
    throw Failure("the jar " + inQuotes(name) + " needs a name without backslashes, control " +
                  "characters and a leading blank");
  }
  if (!names.insert(name).second) {
    throw Failure("two jars are called " + name + ", but they lie side by side in the FMU");
  }
  std::error_code error;
  fs::copy_file(jar, resources / name, error);
  if (error) throw Failure(jar.string() + " cannot be copied: " + error.message());
}

std::string namedModel(const ModelInput& input) {
  const std::vector<fs::path>& files = input.model.empty() ? input.jars : input.model;
  std::string names = printable(files[0].string());
  if (files.size() > 1)
    names += " and " + counted(static_cast<long long>(files.size()) - 1, "other file");
  return names;
}

}  // namespace

std::vector<fs::path> filesBelow(const fs::path& directory) {
  std::vector<fs::path> files;
  for (fs::recursive_directory_iterator entry(directory), end; entry != end; ++entry) {
    if (entry->path().filename().string().starts_with('.')) {
      entry.disable_recursion_pending();
    } else if (entry->is_regular_file()) {
      files.push_back(entry->path());
    }
  }
  std::ranges::sort(files);
  return files;
}

void requireFiles(const ModelInput& input) {
  for (const auto* const files : {&input.model, &input.jars}) {
    for (const fs::path& file : *files) {
      std::error_code error;
      if (fs::status(file, error).type() == fs::file_type::not_found)
        throw Failure("there is no file " + file.string(), ExitCode::usage);
    }
  }
}

bool isModelFile(const fs::path& file) {
  const fs::path ending = file.extension();
  return ending == ".java" || ending == ".class" || ending == ".jar" || fs::is_directory(file);
}

ModelJars gatherJars(const ModelInput& input, const fs::path& resources, const fs::path& scratch,
                     JNIEnv* env) {
  Parts parts = partsOf(input);
  fs::create_directories(resources);
  ModelJars jars;
  jars.model = namedModel(input);
  if (!parts.javaFiles.empty()) {
    const fs::path compiled = scratch / "classes";
    compile(input, parts, compiled, env);
    parts.classDirectories.push_back(compiled);
  }
  if (!parts.classDirectories.empty()) {
    packClasses(parts.classDirectories, resources / jarOfClasses);
    jars.names.push_back(jarOfClasses);
  }
  std::set<std::string> names(jars.names.begin(), jars.names.end());
  for (const fs::path& jar : parts.jars) {
    copyJar(jar, resources, names);
    jars.names.push_back(jar.filename().string());
  }
  jars.own = input.model.empty() ? jars.names.size() : jars.names.size() - input.jars.size();
  return jars;
}
