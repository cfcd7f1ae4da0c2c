package com.zelvox.qorbetta;

import java.lang.reflect.Field;

/**
 * A field of one object that holds an object with variables, or an array of such. The variables are
 * bound to the objects that were there when the model was described: others in their place would
 * never get a value.
 */
final class PartField {
    private final Object owner;
    private final Field field;
    private final Object value;
    private final Object[] elements; // of an array; null for an object

    PartField(Object owner, Field field, Object value) {
        this.owner = owner;
        this.field = field;
        this.value = value;
        elements = value instanceof Object[] ? ((Object[]) value).clone() : null;
    }

    /** Throws an {@link IllegalStateException} if something else is in its place. */
    void check() throws IllegalAccessException {
        boolean same = field.get(owner) == value;
        for (int i = 0; same && elements != null && i < elements.length; i++) {
            same = ((Object[]) value)[i] == elements[i];
        }
        if (!same) {
            throw new IllegalStateException(VariableField.nameOf(field)
                    + " became another object, expected the one that the model was made with"
                    + " throughout");
        }
    }
}
