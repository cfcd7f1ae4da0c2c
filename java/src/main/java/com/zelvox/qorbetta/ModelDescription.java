package com.zelvox.qorbetta;

import java.util.ArrayList;
import java.util.Collections;
import java.util.EnumMap;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;

/**
 * What a model tells about itself: names, units, meanings, start values, and how it is best run.
 * Immutable; a model writes it down as one expression that begins with {@link #named}.
 *
 * <pre>
 *   ModelDescription.named("Tank")
 *       .describedAs("Water tank with a drain")
 *       .unit(Unit.of("m3/s").m(3).s(-1).display("L/min", 1e-3 / 60))
 *       .input("inflow", "m3/s", "water flowing in", 0.0).displayUnit("L/min")
 *       .output("level", "m", "height of the water")
 *       .parameter("area", "m2", "area of the ground", 2.0).range(0.01, 100)
 *       .experiment(0, 60, 0.1)
 *       .build();
 * </pre>
 *
 * The order of declaration is the order of the values in every array. A mistake is an
 * {@link IllegalArgumentException} at the line that makes it.
 */
public final class ModelDescription {
    private final Facts facts;

    private ModelDescription(Facts facts) {
        this.facts = facts;
    }

    /**
     * Begins a description.
     *
     * @param name the model's name, as tools show it
     */
    public static Builder named(String name) {
        return new Builder(Checked.name("the model", name));
    }

    /** The model's name. */
    public String name() {
        return facts.name;
    }

    /** What the model is, in a sentence; may be empty, as may the four texts that follow. */
    public String description() {
        return facts.description;
    }

    /** Who wrote the model. */
    public String author() {
        return facts.author;
    }

    /** Which version of the model it is. */
    public String version() {
        return facts.version;
    }

    /** Under which licence it may be used. */
    public String license() {
        return facts.license;
    }

    /** Who holds the copyright. */
    public String copyright() {
        return facts.copyright;
    }

    /** The inputs in the order of declaration; this list and the others cannot be changed. */
    public List<Variable> inputs() {
        return facts.variables.get(Variable.Kind.INPUT);
    }

    /** The outputs in the order of declaration. */
    public List<Variable> outputs() {
        return facts.variables.get(Variable.Kind.OUTPUT);
    }

    /** The parameters in the order of declaration. */
    public List<Variable> parameters() {
        return facts.variables.get(Variable.Kind.PARAMETER);
    }

    /** The units that the model defines; variables may use others besides. */
    public List<Unit> units() {
        return facts.units;
    }

    /**
     * Where a run starts when nobody says otherwise, in seconds; NaN when the model names no
     * experiment.
     */
    public double startTime() {
        return facts.startTime;
    }

    /** Where such a run stops; NaN when the model names no experiment. */
    public double stopTime() {
        return facts.stopTime;
    }

    /** The communication step size of such a run; NaN when the model names no experiment. */
    public double stepSize() {
        return facts.stepSize;
    }

    /** The relative tolerance of such a run; NaN when the model names none. */
    public double tolerance() {
        return facts.tolerance;
    }

    /** What a description holds; its builder fills it in. */
    private static final class Facts implements Cloneable {
        String name;
        String description = "";
        String author = "";
        String version = "";
        String license = "";
        String copyright = "";
        Map<Variable.Kind, List<Variable>> variables = new EnumMap<>(Variable.Kind.class);
        List<Unit> units = new ArrayList<>();
        double startTime = Double.NaN;
        double stopTime = Double.NaN;
        double stepSize = Double.NaN;
        double tolerance = Double.NaN;

        Facts() {
            for (Variable.Kind kind : Variable.Kind.values()) {
                variables.put(kind, new ArrayList<>());
            }
        }

        /** A copy that does not change when this one does. */
        Facts frozen() {
            try {
                Facts copy = (Facts) clone();
                copy.variables = new EnumMap<>(variables);
                copy.variables.replaceAll((kind, list) -> frozen(list));
                copy.units = frozen(units);
                return copy;
            } catch (CloneNotSupportedException e) {
                throw new AssertionError(e); // it is Cloneable
            }
        }

        private static <T> List<T> frozen(List<T> list) {
            return Collections.unmodifiableList(new ArrayList<>(list));
        }
    }

    /**
     * Collects a description. Every method but {@link #build} answers the builder itself and throws
     * {@link IllegalArgumentException} when it is given something that no description may hold.
     */
    public static final class Builder {
        private final Facts facts = new Facts();
        private final Set<String> variableNames = new HashSet<>();
        private final Set<String> unitNames = new HashSet<>();
        private List<Variable> latest = Collections.emptyList();

        private Builder(String name) {
            facts.name = name;
        }

        /** Says what the model is, in a sentence. */
        public Builder describedAs(String text) {
            facts.description = Checked.text("the description", text);
            return this;
        }

        /** Says who wrote the model. */
        public Builder author(String text) {
            facts.author = Checked.text("the author", text);
            return this;
        }

        /** Says which version of the model it is. */
        public Builder version(String text) {
            facts.version = Checked.text("the version", text);
            return this;
        }

        /** Says under which licence the model may be used. */
        public Builder license(String text) {
            facts.license = Checked.text("the licence", text);
            return this;
        }

        /** Says who holds the copyright. */
        public Builder copyright(String text) {
            facts.copyright = Checked.text("the copyright", text);
            return this;
        }

        /**
         * Defines a unit, so that tools can convert its values. A unit may also be used without.
         */
        public Builder unit(Unit unit) {
            if (!unitNames.add(unit.name())) {
                throw new IllegalArgumentException("unit '" + unit.name() + "' is defined twice");
            }
            facts.units.add(unit);
            return this;
        }

        /** Declares an input, which is {@code start} until the importer sets it. */
        public Builder input(String name, String unit, String description, double start) {
            return declare(Variable.Kind.INPUT, name, unit, description, start);
        }

        /** Declares an output that is 0 until the model is initialized. */
        public Builder output(String name, String unit, String description) {
            return output(name, unit, description, 0);
        }

        /** Declares an output that is {@code start} until the model is initialized. */
        public Builder output(String name, String unit, String description, double start) {
            return declare(Variable.Kind.OUTPUT, name, unit, description, start);
        }

        /** Declares a parameter, which is {@code start} until the importer sets it. */
        public Builder parameter(String name, String unit, String description, double start) {
            return declare(Variable.Kind.PARAMETER, name, unit, description, start);
        }

        /**
         * Limits the variable declared last. A parameter outside of its range is refused before the
         * model sees it; for inputs and outputs the range informs the importer.
         *
         * @param min the smallest legal value; negative infinity for no limit
         * @param max the largest legal value; positive infinity for no limit
         */
        public Builder range(double min, double max) {
            return replaceLatest(latest("range").limited(min, max));
        }

        /**
         * Gives the order of magnitude of the variable declared last.
         *
         * @param value a finite number greater than 0
         */
        public Builder nominal(double value) {
            return replaceLatest(latest("nominal").scaled(value));
        }

        /**
         * Says in which unit people like to see the variable declared last.
         *
         * @param name a display unit that the variable's unit is defined with; empty for none
         */
        public Builder displayUnit(String name) {
            return replaceLatest(latest("displayUnit").displayed(name));
        }

        /** Says how the model is best run: over which time and with which step size, in seconds. */
        public Builder experiment(double start, double stop, double step) {
            Checked.finite("the start time", start);
            Checked.finite("the stop time", stop);
            if (stop <= start) {
                throw new IllegalArgumentException("the experiment goes from " + start + " to "
                        + stop + ", expected a stop time behind the start time");
            }
            Checked.positive("the step size", step);
            facts.startTime = start;
            facts.stopTime = stop;
            facts.stepSize = step;
            return this;
        }

        /** The same, with the relative tolerance for importers that have a use for it. */
        public Builder experiment(double start, double stop, double step,
                double relativeTolerance) {
            facts.tolerance = Checked.positive("the tolerance", relativeTolerance);
            return experiment(start, stop, step);
        }

        /** The finished description. */
        public ModelDescription build() {
            facts.variables.values().stream().flatMap(List::stream)
                    .filter(variable -> !variable.displayUnit().isEmpty())
                    .forEach(this::checkDisplayUnit);
            return new ModelDescription(facts.frozen());
        }

        private Builder declare(Variable.Kind kind, String name, String unit, String description,
                double start) {
            return declare(new Variable(kind, name, unit, "", description, start,
                    Double.NEGATIVE_INFINITY, Double.POSITIVE_INFINITY, 1));
        }

        Builder declare(Variable variable) {
            variable.checked();
            if (!variableNames.add(variable.name())) {
                throw new IllegalArgumentException(
                        "variable '" + variable.name() + "' is declared twice");
            }
            latest = facts.variables.get(variable.kind);
            latest.add(variable);
            return this;
        }

        private void checkDisplayUnit(Variable variable) {
            if (facts.units.stream().noneMatch(unit -> unit.name().equals(variable.unit())
                    && unit.displayUnit(variable.displayUnit()) != null)) {
                throw new IllegalArgumentException("variable '" + variable.name()
                        + "' is shown in '" + variable.displayUnit()
                        + "', expected a display unit of its unit; define it with @DisplayUnit(name = \""
                        + variable.displayUnit() + "\", factor = ...) in the @UnitDefinition of \""
                        + variable.unit() + "\", or with Unit.of(\"" + variable.unit()
                        + "\").display(\"" + variable.displayUnit() + "\", factor)");
            }
        }

        private Variable latest(String method) {
            if (latest.isEmpty()) {
                throw new IllegalArgumentException(method
                        + " comes first, expected a variable before it");
            }
            return latest.get(latest.size() - 1);
        }

        private Builder replaceLatest(Variable variable) {
            latest.set(latest.size() - 1, variable.checked());
            return this;
        }
    }
}
