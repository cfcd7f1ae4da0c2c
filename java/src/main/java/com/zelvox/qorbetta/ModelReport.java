package com.zelvox.qorbetta;

import java.io.File;
import java.math.BigDecimal;
import java.math.MathContext;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.stream.Stream;

/**
 * Tells the packer, which is no Java program, what the model in some jars says about itself.
 *
 * <p>Question and answer are lists of texts in UTF-8, each followed by a NUL, which no text holds.
 * The question: the directory of the jars, the model's class or nothing for the only one, what the
 * user named as the model, how many of the jars may hold it, the jars' file names, those first. The
 * answer: a sentence that says what is wrong, alone; or nothing, the class, the modelDescription.xml
 * of the model, without what only the packer knows, and sentences with what the author should hear.
 */
final class ModelReport {
    private final StringBuilder texts = new StringBuilder();

    private ModelReport() {
    }

    /** Called by the packer. Throws nothing. */
    static byte[] answer(byte[] question) {
        ModelReport report = new ModelReport();
        try {
            List<String> texts = Arrays.asList(
                    new String(question, StandardCharsets.UTF_8).split("\0", -1));
            ModelFinder finder = new ModelFinder(new File(texts.get(0)),
                    texts.subList(4, texts.size() - 1), Integer.parseInt(texts.get(3)), texts.get(2));
            report.add("");
            report.addClass(finder.find(texts.get(1)));
        } catch (Throwable e) {
            report.texts.setLength(0);
            report.add(Reason.of(e).replace('\0', ' '));
        }
        return report.texts.toString().getBytes(StandardCharsets.UTF_8);
    }

    private void addClass(Class<? extends Model> model) throws Throwable {
        add(model.getName());
        String first = described(model);
        if (!first.equals(described(model))) {
            throw new IllegalStateException("two objects of " + model.getName()
                    + " describe themselves differently, expected the same description always");
        }
        texts.append(first);
    }

    /** What a new object of the class says, which then takes its parameters as in a run. */
    private static String described(Class<? extends Model> modelClass) throws Throwable {
        Model model;
        try {
            model = ModelSource.newObject(modelClass);
        } catch (Throwable e) {
            throw failure(modelClass, "cannot be constructed", e);
        }
        ModelReport report = new ModelReport();
        try {
            ModelDescription description = describe(model);
            report.addDescription(description);
            if (model instanceof FieldModel) {
                ((FieldModel) model).overlooked().forEach(report::add);
            }
            handOverParameters(model, description.parameters());
        } finally {
            free(model);
        }
        return report.texts.toString();
    }

    private static ModelDescription describe(Model model) {
        ModelDescription description;
        try {
            description = model.describe();
        } catch (Throwable e) {
            throw failure(model.getClass(), "cannot be described", e);
        }
        if (description == null) {
            throw new IllegalStateException("the description of model " + model.getClass().getName()
                    + " is null, expected one made with ModelDescription.named");
        }
        if (description.outputs().isEmpty() && description.inputs().isEmpty()
                && description.parameters().isEmpty()) {
            throw new IllegalStateException("the model " + model.getClass().getName()
                    + " has no variable, expected an output, an input or a parameter");
        }
        return description;
    }

    private static void handOverParameters(Model model, List<Variable> parameters) {
        for (int i = 0; i < parameters.size(); i++) {
            try {
                model.set(i, parameters.get(i).start());
            } catch (Throwable e) {
                throw failure(model.getClass(), "refuses parameter " + parameters.get(i)
                        + " at its start value " + parameters.get(i).start(), e);
            }
        }
    }

    private static void free(Model model) {
        try {
            model.free();
        } catch (Throwable e) {
            // The description does not depend on it.
        }
    }

    private static IllegalStateException failure(Class<?> model, String what, Throwable e) {
        return new IllegalStateException(
                "the model " + model.getName() + " " + what + ": " + ModelFinder.reason(e));
    }

    /** The elements and attributes that FMI 2.0 gives a model for co-simulation, in its order. */
    private void addDescription(ModelDescription model) {
        texts.append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>");
        begin("fmiModelDescription", "fmiVersion", "2.0", "modelName", model.name(),
                "description", model.description(), "author", model.author(),
                "version", model.version(), "copyright", model.copyright(),
                "license", model.license());
        element("CoSimulation", "needsExecutionTool", false,
                "canHandleVariableCommunicationStepSize", true, "canInterpolateInputs", false,
                "maxOutputDerivativeOrder", "0",
                "canRunAsynchronuously", false, // the name is misspelled in the standard
                "canBeInstantiatedOnlyOncePerProcess", false,
                "canNotUseMemoryManagementFunctions", false, "canGetAndSetFMUstate", false,
                "canSerializeFMUstate", false, "providesDirectionalDerivative", false);
        addUnits(model);
        begin("LogCategories"); // those that the library knows
        addCategory("logAll", "Everything");
        addCategory("logError", "Errors; they are sent even when this category is off");
        addCategory("logFmiCall", "Every call of an FMI function with its arguments");
        addCategory("logEvent", "Events");
        end("LogCategories");
        if (!Double.isNaN(model.stopTime())) {
            element("DefaultExperiment", "startTime", model.startTime(), "stopTime", model.stopTime(),
                    "tolerance", model.tolerance(), "stepSize", model.stepSize());
        }
        // The library's layout: the outputs, their mirror, which importers do not see, and the rest.
        int outputs = model.outputs().size();
        begin("ModelVariables");
        addVariables(model.outputs(), 0, "output", "continuous", "calculated");
        addVariables(model.inputs(), 2 * outputs, "input", "continuous", "");
        addVariables(model.parameters(), 2 * outputs + model.inputs().size(),
                "parameter", "tunable", "exact");
        end("ModelVariables");
        // An output depends on everything that the model has, as nobody knows better: hence no
        // dependencies.
        begin("ModelStructure");
        for (String list : outputs > 0 ? new String[] {"Outputs", "InitialUnknowns"} : new String[0]) {
            begin(list);
            for (int i = 1; i <= outputs; i++) {
                element("Unknown", "index", String.valueOf(i));
            }
            end(list);
        }
        end("ModelStructure");
        end("fmiModelDescription");
        texts.append('\0');
    }

    /** Those that the model defines, and the names of the others that its variables use. */
    private void addUnits(ModelDescription model) {
        Map<String, Unit> units = new LinkedHashMap<>();
        model.units().forEach(unit -> units.put(unit.name(), unit));
        Stream.of(model.outputs(), model.inputs(), model.parameters()).flatMap(List::stream)
                .filter(variable -> !variable.unit().isEmpty())
                .forEach(variable -> units.putIfAbsent(variable.unit(), null));
        if (units.isEmpty()) {
            return;
        }
        begin("UnitDefinitions");
        units.forEach((name, unit) -> {
            begin("Unit", "name", name);
            if (unit != null) {
                addDefinition(unit);
            }
            end("Unit");
        });
        end("UnitDefinitions");
    }

    private void addDefinition(Unit unit) {
        Object[] base = {"kg", 0, "m", 0, "s", 0, "A", 0, "K", 0, "mol", 0, "cd", 0, "rad", 0,
            "factor", unless(1, unit.factor()), "offset", unless(0, unit.offset())};
        int[] exponents = unit.exponents();
        for (int i = 0; i < exponents.length; i++) {
            base[2 * i + 1] = exponents[i] == 0 ? "" : exponents[i];
        }
        element("BaseUnit", base);
        for (Unit display : unit.displayUnits()) { // FMI goes from the unit, not from the base units
            element("DisplayUnit", "name", display.name(),
                    "factor", unless(1, quotient(unit.factor(), display.factor(), unit.factor())),
                    "offset", unless(0, quotient(unit.offset() - display.offset(),
                            display.factor(), display.offset())));
        }
    }

    /** Without last digits that only the arithmetic made: 1.8, not 1.7999999999999998. */
    private static double quotient(double dividend, double divisor, double magnitude) {
        double exact = dividend / divisor;
        double plain = new BigDecimal(exact).round(new MathContext(13)).doubleValue();
        double error = 2 * Math.max(Math.ulp(exact), Math.abs(Math.ulp(magnitude) / divisor));
        return Math.abs(plain - exact) <= error ? plain : exact;
    }

    private void addCategory(String name, String description) {
        element("Category", "name", name, "description", description);
    }

    private void addVariables(List<Variable> variables, int first, String causality,
            String variability, String initial) {
        int reference = first;
        for (Variable variable : variables) {
            begin("ScalarVariable", "name", variable.name(), "valueReference", reference++,
                    "description", variable.description(), "causality", causality,
                    "variability", variability, "initial", initial);
            // What is calculated has no start.
            element("Real", "unit", variable.unit(), "displayUnit", variable.displayUnit(),
                    "min", variable.min(), "max", variable.max(),
                    "nominal", unless(1, variable.nominal()),
                    "start", initial.equals("calculated") ? "" : variable.start());
            end("ScalarVariable");
        }
    }

    /** Nothing in place of what FMI takes for granted. */
    private static Object unless(double usual, double value) {
        return value == usual ? "" : value;
    }

    private void element(String name, Object... attributes) {
        begin(name, attributes);
        end(name);
    }

    /** @param attributes names and values; what is empty, infinite or no number is left out */
    private void begin(String element, Object... attributes) {
        texts.append('<').append(element);
        for (int i = 0; i < attributes.length; i += 2) {
            String value = attributes[i + 1].toString();
            if (!value.isEmpty() && !(attributes[i + 1] instanceof Double
                    && !Double.isFinite((Double) attributes[i + 1]))) {
                texts.append(' ').append(attributes[i]).append("=\"")
                        .append(value.replace("&", "&amp;").replace("<", "&lt;").replace("\"", "&quot;")
                                .replace("\n", "&#10;").replace("\t", "&#9;")).append('"');
            }
        }
        texts.append('>');
    }

    private void end(String element) {
        texts.append("</").append(element).append('>');
    }

    private void add(Object text) {
        texts.append(text).append('\0');
    }
}
