package com.zelvox.qorbetta;

import java.util.Arrays;

/**
 * What a unit's name means in SI base units, for instance
 * {@code Unit.of("rpm").rad(1).s(-1).factor(Math.PI / 30)}: a value in base units is
 * {@code factor * value + offset}. Immutable; each method with an argument answers a changed copy.
 */
public final class Unit {
    private final String name;
    private final int[] exponents;
    private final double factor;
    private final double offset;

    private Unit(String name, int[] exponents, double factor, double offset) {
        this.name = name;
        this.exponents = exponents;
        this.factor = factor;
        this.offset = offset;
    }

    /**
     * A unit without dimension, until exponents are given.
     *
     * @param name the name that variables use
     * @throws IllegalArgumentException when the name is empty or not printable
     */
    public static Unit of(String name) {
        return new Unit(Checked.name("a unit", name), new int[8], 1, 0);
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
                Checked.finite("unit '" + name + "': factor", newFactor), offset);
    }

    /**
     * @param newOffset the value in base units at 0 of this unit; finite
     * @throws IllegalArgumentException when it is not
     */
    public Unit offset(double newOffset) {
        return new Unit(name, exponents, factor,
                Checked.finite("unit '" + name + "': offset", newOffset));
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

    @Override
    public String toString() {
        return name;
    }

    private Unit with(int index, int exponent) {
        int[] changed = Arrays.copyOf(exponents, exponents.length);
        changed[index] = exponent;
        return new Unit(name, changed, factor, offset);
    }
}
