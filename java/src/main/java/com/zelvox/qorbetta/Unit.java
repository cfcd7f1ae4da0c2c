package com.zelvox.qorbetta;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.stream.Collectors;

/**
 * What a unit's name means in SI base units, for instance
 * {@code Unit.of("rpm").rad(1).s(-1).factor(Math.PI / 30)}: a value in base units is
 * {@code factor * value + offset}. Other units of the same dimension, in which people may enter and
 * see the values, are named with {@link #display}. Immutable; each method with an argument answers a
 * changed copy.
 */
public final class Unit {
    private final String name;
    private final int[] exponents;
    private final double factor;
    private final double offset;
    private final List<Unit> displayUnits; // their exponents are not used

    private Unit(String name, int[] exponents, double factor, double offset,
            List<Unit> displayUnits) {
        this.name = name;
        this.exponents = exponents;
        this.factor = factor;
        this.offset = offset;
        this.displayUnits = displayUnits;
    }

    /**
     * A unit without dimension, until exponents are given.
     *
     * @param name the name that variables use
     * @throws IllegalArgumentException when the name is empty or not printable
     */
    public static Unit of(String name) {
        return new Unit(Checked.name("a unit", name), new int[8], 1, 0, Collections.emptyList());
    }

    public Unit kg(int exponent) {
        return with(0, exponent);
    }

    public Unit m(int exponent) {
        return with(1, exponent);
    }

    public Unit s(int exponent) {
        return with(2, exponent);
    }

    public Unit A(int exponent) {
        return with(3, exponent);
    }

    public Unit K(int exponent) {
        return with(4, exponent);
    }

    public Unit mol(int exponent) {
        return with(5, exponent);
    }

    public Unit cd(int exponent) {
        return with(6, exponent);
    }

    public Unit rad(int exponent) {
        return with(7, exponent);
    }

    /**
     * @param newFactor how many base units one unit is; finite and not 0
     * @throws IllegalArgumentException when it is not
     */
    public Unit factor(double newFactor) {
        if (newFactor == 0) {
            throw new IllegalArgumentException("unit '" + name
                    + "': factor 0, expected another number");
        }
        return new Unit(name, exponents,
                Checked.finite("unit '" + name + "': factor", newFactor), offset,
                displayUnits);
    }

    /**
     * @param newOffset the value in base units at 0 of this unit; finite
     * @throws IllegalArgumentException when it is not
     */
    public Unit offset(double newOffset) {
        return new Unit(name, exponents, factor,
                Checked.finite("unit '" + name + "': offset", newOffset),
                displayUnits);
    }

    /**
     * Names another unit of the same dimension, such as {@code display("L/min", 1e-3 / 60)} of
     * m3/s.
     *
     * @param other its name, which no other display unit of this unit has
     * @param itsFactor how many base units one of it is; finite and not 0
     * @throws IllegalArgumentException when the name or the factor is not like that
     */
    public Unit display(String other, double itsFactor) {
        return display(other, itsFactor, 0);
    }

    /**
     * The same for a unit with another zero, such as {@code display("°C", 1, 273.15)} of K.
     *
     * @param itsOffset the value in base units at 0 of it; finite
     */
    public Unit display(String other, double itsFactor, double itsOffset) {
        if (displayUnit(other) != null) {
            throw new IllegalArgumentException("unit '" + name + "' has two display units '"
                    + other + "'");
        }
        List<Unit> longer = new ArrayList<>(displayUnits);
        longer.add(of(other).factor(itsFactor).offset(itsOffset));
        return new Unit(name, exponents, factor, offset, longer);
    }

    /** The name that variables use. */
    public String name() {
        return name;
    }

    /** A copy of the eight exponents, of kg, m, s, A, K, mol, cd and rad in this order. */
    public int[] exponents() {
        return exponents.clone();
    }

    /** How many base units one unit is. */
    public double factor() {
        return factor;
    }

    /** The value in base units at 0 of this unit. */
    public double offset() {
        return offset;
    }

    /** The display units in the order in which they were named. */
    public List<Unit> displayUnits() {
        return displayUnits.stream().map(unit -> new Unit(unit.name, exponents, unit.factor,
                unit.offset, Collections.emptyList())).collect(Collectors.toList());
    }

    /** The display unit of that name; null when there is none. */
    Unit displayUnit(String other) {
        return displayUnits.stream().filter(unit -> unit.name.equals(other)).findAny().orElse(null);
    }

    @Override
    public String toString() {
        return name;
    }

    private Unit with(int index, int exponent) {
        int[] changed = Arrays.copyOf(exponents, exponents.length);
        changed[index] = exponent;
        return new Unit(name, changed, factor, offset, displayUnits);
    }
}
