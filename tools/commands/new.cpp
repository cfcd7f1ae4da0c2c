// `zelvox new`: a directory with a model that runs at once, for its author to change.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>

#include "commands/commands.h"
#include "commands/maven_pom.h"
#include "commands/options.h"
#include "ending/failure.h"
#include "files/installation.h"
#include "words/text.h"

namespace fs = std::filesystem;

namespace {

struct NewOptions {
  std::string javaClass;
  bool maven = false;
};

// In these texts, and in the pom of a Maven project, @class@ stands for the class without its
// package.

constexpr const char* model = R"(import com.zelvox.qorbetta.*;

@ModelInfo(description = "Water tank with a drain")
@DefaultExperiment(stopTime = 60, stepSize = 0.1)
@UnitDefinition(name = "m", m = 1)
@UnitDefinition(name = "m2", m = 2)
@UnitDefinition(name = "1/s", s = -1)
@UnitDefinition(name = "m3/s", m = 3, s = -1)
public class @class@ extends FieldModel {
    @Input(unit = "m3/s", description = "water flowing in")
    double inflow = 0.4;

    @Output(unit = "m", description = "height of the water")
    double level;

    @Parameter(unit = "m2", min = 0.01, max = 100, description = "area of the ground")
    double area = 2;

    @Parameter(unit = "1/s", description = "share of the water that leaves each second")
    double drain = 0.1;

    @Override
    protected void step(double time, double stepSize) {
        double end = inflow / (area * drain);  // where the level goes, if the inflow stays
        level = end + (level - end) * Math.exp(-drain * stepSize);
    }
}
)";

constexpr const char* readme = R"(# @class@

A simulation model in one Java class, @class@.java. From it to a picture, again at each save, and to
an FMU for any tool that imports FMI 2.0 co-simulation:

    zelvox simulate @class@.java --plot-file @class@.svg
    ls *.java | entr zelvox simulate @class@.java --plot-file @class@.svg
    zelvox pack @class@.java

`zelvox simulate --help` shows how to set start values, inputs and the length of the run.
)";

constexpr const char* mavenReadme = R"(# @class@

A simulation model in Java. `mvn package` makes target/@class@.fmu, for any tool that imports FMI 2.0
co-simulation, and this is its picture:

    zelvox simulate target/@class@.fmu --plot-file @class@.svg

While you write, the sources will do: `zelvox simulate src/main/java --plot-file @class@.svg`.
pom.xml names the zelvox that is used; `mvn package -Dzelvox.command=... -Dzelvox.repository=file://...`
takes another one.
)";

// The words of Java, and the classes that the model uses.
constexpr std::string_view taken =
    " _ abstract assert boolean break byte case catch char class const continue default do double "
    "else enum extends false final finally float for goto if implements import instanceof int "
    "interface long native new null package private protected public return short static strictfp "
    "super switch synchronized this throw throws transient true try void volatile while "
    "DefaultExperiment FieldModel Input Math ModelInfo Output Override Parameter UnitDefinition ";

bool isJavaName(const std::string& name) {
  return isIdentifier(name) && taken.find(" " + name + " ") == taken.npos;
}

void write(const fs::path& file, const std::string& text) {
  std::error_code error;
  fs::create_directories(file.parent_path(), error);
  std::ofstream stream(file, std::ios::binary);
  stream << text;
  stream.close();
  if (!stream) throw Failure(file.string() + " cannot be written");
}

// Beside share/java of the installation, or where another one of this version has it: the Python
// package brings none.
fs::path mavenRepository() {
  const fs::path beside = zelvoxJar().parent_path().parent_path() / "maven-repo";
  for (const fs::path& place :
       {beside, fs::path("/usr/local/share/maven-repo"), fs::path("/usr/share/maven-repo")}) {
    if (fs::is_directory(place / "com/zelvox/zelvox" / ZELVOX_VERSION)) return place;
  }
  throw Failure(
      "a Maven project takes zelvox " ZELVOX_VERSION
      " from a Maven repository, which this machine does not have; install the Debian "
      "package of zelvox, or zelvox from its sources, which bring it to share/maven-repo");
}

void create(NewOptions& options) {
  std::istringstream steps(options.javaClass + ".");
  fs::path packages;
  std::string name;
  for (std::string step; std::getline(steps, step, '.'); name = step) {
    packages /= name;
    if (!isJavaName(step) ||
        options.javaClass.starts_with("java."))  // which the JVM keeps for itself
      throw Failure(
          inQuotes(options.javaClass) +
              " cannot be the class of a new model, expected a name such as com.acme.Tank",
          ExitCode::usage);
  }
  const std::string package = CLI::detail::find_and_replace(packages.string(), "/", ".");
  const fs::path repository = options.maven ? mavenRepository() : fs::path();
  const fs::path directory = name;
  std::error_code error;
  if (!fs::create_directory(directory, error)) {
    throw Failure(name + (error ? " cannot be made: " + error.message()
                                : " is there already, and nothing is overwritten"));
  }
  const std::string source = (package.empty() ? "" : "package " + package + ";\n\n") +
                             CLI::detail::find_and_replace(model, "@class@", name);
  const std::string file = name + ".java";
  if (options.maven) {
    write(directory / "src/main/java" / packages / file, source);
    std::string project = CLI::detail::find_and_replace(mavenPom, "@class@", name);
    project = CLI::detail::find_and_replace(project, "@group@", package.empty() ? name : package);
    project = CLI::detail::find_and_replace(project, "@command@", thisProgram().string());
    project = CLI::detail::find_and_replace(project, "@repository@", repository.string());
    write(directory / "pom.xml",
          CLI::detail::find_and_replace(project, "@version@", ZELVOX_VERSION));
  } else {
    write(directory / file, source);
  }
  write(directory / "README.md",
        CLI::detail::find_and_replace(options.maven ? mavenReadme : readme, "@class@", name));
  std::printf("Made %s; now try\n  cd %s && %s --plot-file %s.svg\n", name.c_str(), name.c_str(),
              options.maven ? "zelvox simulate src/main/java" : ("zelvox simulate " + file).c_str(),
              name.c_str());
}

}  // namespace

void addNewCommand(CLI::App& app) {
  const auto [command, options] = addCommand(
      app, "new", "Make a directory with a first model that runs",
      "The directory is called like the class, without the package, and must not exist.\n\n"
      "Examples:\n  zelvox new com.acme.Tank\n  zelvox new --maven com.acme.Tank",
      create);
  addOption(command, "class", options.javaClass, "CLASS",
            "The class of the model, such as com.acme.Tank")
      ->required();
  command.add_flag("--maven", options.maven, "A Maven project, whose `mvn package` makes the FMU");
}
