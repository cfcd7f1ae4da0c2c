package com.zelvox.qorbetta;

import java.lang.reflect.Field;

/**
 * A field of one object that holds a variable, or an array of them, and the way of the values to
 * and from it. {@link Field#getDouble} and {@link Field#setDouble} wrap no number in an object and
 * take a few nanoseconds; an array is copied whole.
 */
final class VariableField {
    private final Object owner;
    private final Field field;
    private final int length; // of the array; 0 for a number
    private final int first; // index of its first variable among those of its kind

    VariableField(Object owner, Field field, int length, int first) {
        this.owner = owner;
        this.field = field;
        this.length = length;
        this.first = first;
    }

    /** Sets the field to its values among those of all variables of its kind. */
    void setFrom(double[] values) throws IllegalAccessException {
        if (length == 0) {
            field.setDouble(owner, values[first]);
        } else {
            System.arraycopy(values, first, array(), 0, length);
        }
    }

    /** Puts the field's values among those of all variables of its kind. */
    void getInto(double[] values) throws IllegalAccessException {
        if (length == 0) {
            values[first] = field.getDouble(owner);
        } else {
            System.arraycopy(array(), 0, values, first, length);
        }
    }

    /** Sets the variable of that index, which is the field's or one of its. */
    void set(int index, double value) throws IllegalAccessException {
        if (length == 0) {
            field.setDouble(owner, value);
        } else {
            array()[index - first] = value;
        }
    }

    private double[] array() throws IllegalAccessException {
        double[] array = (double[]) field.get(owner);
        if (array == null || array.length != length) {
            throw new IllegalStateException(nameOf(field) + " became "
                    + (array == null ? "null" : "an array of " + array.length + " elements")
                    + ", expected one of " + length + " elements throughout");
        }
        return array;
    }

    /** How sentences call a field, such as {@code com.acme.Tank.level}. */
    static String nameOf(Field field) {
        return field.getDeclaringClass().getName() + "." + field.getName();
    }
}
