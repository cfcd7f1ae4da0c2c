package com.zelvox.qorbetta;

import java.lang.reflect.Field;

/** A field of an object in a model, or an element of an array in such a field. */
final class Place {
    final Place holder; // of the object or the array that this is in; null for the model itself
    final Field field; // of an element, that of the array
    private final int index; // of an element; -1 for a field
    final Variable declaration; // null for what is no variable
    final Object value; // null for a number
    boolean leads; // to a variable, which this is, or which an object in it has

    private Place(Place holder, Field field, int index, Variable declaration, Object value) {
        this.holder = holder;
        this.field = field;
        this.index = index;
        this.declaration = declaration;
        this.value = holder == null || type().isPrimitive() ? value : now();
    }

    /** Holds the model itself, or something else that is in no field. */
    static Place of(Object value) {
        return new Place(null, null, -1, null, value);
    }

    /** @param declaration null for a field that is no variable */
    Place inside(Field member, Variable ofMember) {
        return new Place(this, member, -1, ofMember, null);
    }

    Place element(int at) {
        return new Place(this, field, at, null, null);
    }

    boolean isElement() {
        return index >= 0;
    }

    /** As variables are called, such as {@code pumps[1].speed}. */
    String name() {
        if (holder == null) {
            return "the model";
        }
        return isElement() ? holder.name() + "[" + (index + 1) + "]"
                : (holder.holder == null ? "" : holder.name() + ".") + field.getName();
    }

    /** What it may hold. */
    Class<?> type() {
        return isElement() ? holder.value.getClass().getComponentType() : field.getType();
    }

    /** Notes that it leads to a variable, as all do that it is in. */
    void lead() {
        for (Place place = this; place != null && !place.leads; place = place.holder) {
            place.leads = true;
        }
    }

    /**
     * Throws an {@link IllegalStateException} if something else has taken the place of what it
     * held. The variables are bound to the objects that were there when the model was described:
     * others would never get a value.
     */
    void check() {
        if (now() != value) {
            throw new IllegalStateException(VariableField.nameOf(field)
                    + " became another object, expected the one that the model was made with"
                    + " throughout");
        }
    }

    IllegalArgumentException wrong(String sentence) {
        return new IllegalArgumentException(VariableField.nameOf(field) + " " + sentence);
    }

    private Object now() {
        try {
            return isElement() ? ((Object[]) holder.value)[index]
                    : field.get(holder.value);
        } catch (IllegalAccessException e) {
            throw new AssertionError(e); // fields are made accessible when they are found
        }
    }
}
