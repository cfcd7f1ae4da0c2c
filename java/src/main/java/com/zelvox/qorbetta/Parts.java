package com.zelvox.qorbetta;

import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.Collections;
import java.util.Deque;
import java.util.HashMap;
import java.util.HashSet;
import java.util.IdentityHashMap;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.Set;
import java.util.TreeSet;

/**
 * The variables of a model and the objects that it consists of, in the order of declaration. What
 * fields hold decides, not what they are declared as: an interface, a type variable or {@code
 * Object} tells nothing. A model may hold a long chain of objects, so no method here calls itself
 * for what an object holds.
 */
final class Parts {
    /** The model, and all in it that is or may hold a variable. */
    final List<Place> places = new ArrayList<>();
    private final Map<Object, Place> reached = new IdentityHashMap<>(); // where it was first

    /**
     * Looks into all that a model holds.
     *
     * @throws IllegalArgumentException with a sentence when an object is missing, or in two places
     */
    Parts(FieldModel model) {
        Map<Class<?>, Boolean> madeOfParts = new HashMap<>();
        Deque<Place> todo = new ArrayDeque<>(Collections.singleton(Place.of(model)));
        while (!todo.isEmpty()) {
            Place place = todo.pop();
            places.add(place);
            if (place.declaration != null) {
                place.lead();
            } else if (place.value == null && madeOfParts.computeIfAbsent(
                    place.type(), type -> isMadeOfParts(type, new HashSet<>()))) {
                throw holds("null", place);
            }
            if (place.value != null && reached.putIfAbsent(place.value, place) == null) {
                List<Place> inside = inside(place);
                Collections.reverse(inside);
                inside.forEach(todo::push);
            }
        }
        places.forEach(this::check);
    }

    /** What is passed by, in sentences that begin with the field or class. */
    Set<String> overlooked() {
        Set<String> sentences = new TreeSet<>();
        Set<Object> harmless = Collections.newSetFromMap(new IdentityHashMap<>());
        for (Place place : places) {
            if (content(place.value) != null && hides(place, harmless)) {
                sentences.add(VariableField.nameOf(place.field) + " holds objects with variables"
                        + " in a collection, and collections are not looked into; hold them in"
                        + " an array, or say with transient that they are to be left out");
            } else if (isLookedInto(place.value)) {
                Class<?> type = place.value.getClass();
                LinkageError unreadable = ClassFields.of(type).unreadable;
                if (unreadable != null) {
                    sentences.add(type.getName() + " cannot be looked into for variables: "
                            + ModelFinder.reason(unreadable));
                }
            }
        }
        return sentences;
    }

    /**
     * To be called when it is known what leads to variables. All other objects may be missing, or
     * in several places.
     */
    private void check(Place place) {
        boolean isArray = place.value instanceof Object[];
        if (place.isElement() && place.holder.leads && (isArray || place.value == null)) {
            throw holds(isArray ? "arrays" : "null", place);
        }
        // Every object and array belongs to one variable or part, or one would overwrite the other.
        Place other = reached.getOrDefault(place.value, place);
        if (other != place && other.leads) {
            throw place.wrong("is the same object as " + other.name()
                    + ", expected one of its own; transient would leave it out");
        }
    }

    private static IllegalArgumentException holds(String what, Place place) {
        return place.wrong("holds " + what
                + ", expected objects with variables; transient would leave it out");
    }

    /** The fields of an object, the elements of an array, as far as they may be of interest. */
    private static List<Place> inside(Place place) {
        List<Place> inside = new ArrayList<>();
        if (place.value instanceof Object[]) {
            Object[] array = (Object[]) place.value;
            for (int i = 0; i < array.length; i++) {
                if (isOfInterest(array[i])) {
                    inside.add(place.element(i));
                }
            }
        } else if (isLookedInto(place.value)) {
            ClassFields.of(place.value.getClass()).fields.forEach((field, declaration) -> {
                Place member = place.inside(field, declaration);
                if (declaration != null || isOfInterest(member.value)) {
                    inside.add(member);
                }
            });
        }
        return inside;
    }

    private static boolean isOfInterest(Object value) {
        return value == null || value instanceof Object[] || isLookedInto(value)
                || content(value) != null;
    }

    /**
     * Whether the fields of an object may hold parts of the model. Those of a lambda hold what its
     * code uses, the model itself for instance.
     */
    private static boolean isLookedInto(Object object) {
        return object != null && !ClassFields.isOfJava(object.getClass())
                && !object.getClass().isSynthetic() && !object.getClass().isArray();
    }

    /** Whether objects of a class are to have variables, by the types of its fields. */
    private static boolean isMadeOfParts(Class<?> type, Set<Class<?>> visited) {
        if (type.isArray()) {
            return isMadeOfParts(type.getComponentType(), visited);
        }
        if (ClassFields.isOfJava(type) || !visited.add(type)) {
            return false;
        }
        ClassFields declared = ClassFields.of(type);
        return declared.hasVariables() || declared.fields.keySet().stream()
                .anyMatch(field -> isMadeOfParts(field.getType(), visited));
    }

    /**
     * Whether a collection leads to an object with variables that is not in the model otherwise.
     *
     * @param harmless objects that do not; gets those of which this is found out
     */
    private boolean hides(Place collection, Set<Object> harmless) {
        Set<Object> seen = Collections.newSetFromMap(new IdentityHashMap<>());
        Deque<Place> todo = new ArrayDeque<>(Collections.singleton(collection));
        while (!todo.isEmpty()) {
            Place place = todo.pop();
            if (place.declaration != null) {
                return true;
            }
            Collection<?> content = content(place.value);
            for (Place each : inside(content == null ? place : Place.of(content.toArray()))) {
                if (each.declaration != null || !reached.containsKey(each.value)
                        && !harmless.contains(each.value) && seen.add(each.value)) {
                    todo.push(each);
                }
            }
        }
        harmless.addAll(seen);
        return false;
    }

    /** Null for what is no collection of Java's, whose methods would be foreign code. */
    private static Collection<?> content(Object value) {
        if (value == null || !ClassFields.isOfJava(value.getClass())) {
            return null;
        }
        if (value instanceof Map) {
            return Arrays.asList(((Map<?, ?>) value).keySet(), ((Map<?, ?>) value).values());
        }
        return value instanceof Optional
                ? Collections.singleton(((Optional<?>) value).orElse(null))
                : value instanceof Collection ? (Collection<?>) value : null;
    }
}
