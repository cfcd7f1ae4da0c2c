package com.zelvox.qorbetta;

/** One input, output or parameter of a model: a real number with a name. Immutable. */
public final class Variable {
    enum Kind { OUTPUT, INPUT, PARAMETER }

    private final String name;
    private final String unit;
    private final String displayUnit;
    private final String description;
    private final double start;
    private final double min;
    private final double max;
    private final double nominal;

    private Variable(String name, String unit, String displayUnit, String description,
            double start, double min, double max, double nominal) {
        this.name = name;
        this.unit = unit;
        this.displayUnit = displayUnit;
        this.description = description;
        this.start = start;
        this.min = min;
        this.max = max;
        this.nominal = nominal;
    }

    /** A variable without limits; checks what it is given. */
    static Variable of(String name, String unit, String description, double start) {
        String variable = "variable '" + Checked.name("a variable", name) + "'";
        if (unit == null || !unit.isEmpty()) {
            Checked.name("the unit of " + variable, unit);
        }
        return new Variable(name, unit, "",
                Checked.text("the description of " + variable, description),
                Checked.finite("the start of " + variable, start),
                Double.NEGATIVE_INFINITY, Double.POSITIVE_INFINITY, 1);
    }

    /** The same variable with limits, between which it starts, unless its start is no value. */
    Variable limited(double newMin, double newMax, boolean startCounts) {
        if (!(newMin <= newMax)) {
            throw new IllegalArgumentException("the range of variable '" + name + "' goes from "
                    + newMin + " to " + newMax + ", expected a maximum not below the minimum");
        }
        if (startCounts && (start < newMin || start > newMax)) {
            throw new IllegalArgumentException("variable '" + name + "' starts at " + start
                    + ", expected a start in its range from " + newMin + " to " + newMax);
        }
        return new Variable(name, unit, displayUnit, description, start, newMin, newMax,
                nominal);
    }

    /** The same variable, shown in another unit. */
    Variable displayed(String newDisplayUnit) {
        return new Variable(name, unit, newDisplayUnit, description, start, min, max, nominal);
    }

    /** The same variable with another order of magnitude. */
    Variable scaled(double newNominal) {
        Checked.positive("the nominal value of variable '" + name + "'", newNominal);
        return new Variable(name, unit, displayUnit, description, start, min, max, newNominal);
    }

    /** The name, unique in the model. */
    public String name() {
        return name;
    }

    /** The name of the unit, which the model may or may not define; empty when there is none. */
    public String unit() {
        return unit;
    }

    /**
     * The name of the unit in which people like to see the values, one of those that {@link #unit}
     * is defined with; empty for that unit itself.
     */
    public String displayUnit() {
        return displayUnit;
    }

    /** What the variable means, in a few words; may be empty. */
    public String description() {
        return description;
    }

    /** The value until the importer or the model gives another; finite. */
    public double start() {
        return start;
    }

    /** The smallest legal value; negative infinity when there is no limit. */
    public double min() {
        return min;
    }

    /** The largest legal value; positive infinity when there is no limit. */
    public double max() {
        return max;
    }

    /** The order of magnitude of the values, greater than 0; 1 when the model does not say. */
    public double nominal() {
        return nominal;
    }

    @Override
    public String toString() {
        return unit.isEmpty() ? name : name + " [" + unit + "]";
    }
}
