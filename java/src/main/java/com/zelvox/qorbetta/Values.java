package com.zelvox.qorbetta;

import java.util.Arrays;
import java.util.List;

/**
 * The values of one instance, laid out by value reference: outputs, a second range with the same
 * outputs, inputs, parameters. It knows which of them the importer has set since the last event, so
 * that a new run begins with these and with start values for the rest.
 */
final class Values {
    private final ModelDescription description;
    private final int firstInput;
    private final int firstParameter;
    private final double[] outputs;
    private final double[] layout; // its output ranges are stale until somebody asks for all values

    /** Counts the events that divide the sets of one run from those of the next. */
    private long event = 1;
    private final long[] setAtEvent; // by value reference; 0 for never

    /** Start values. */
    Values(ModelDescription description) {
        this.description = description;
        firstInput = 2 * description.outputs().size();
        firstParameter = firstInput + description.inputs().size();
        outputs = new double[description.outputs().size()];
        layout = new double[firstParameter + description.parameters().size()];
        setAtEvent = new long[layout.length];
        startAnew();
    }

    int size() {
        return layout.length;
    }

    /** The index of a parameter, from 0; negative for what is none. */
    int parameterAt(int reference) {
        return reference - firstParameter;
    }

    /**
     * Takes a value and tells whether a model initialized before may now be initialized otherwise.
     * The value of an output does not last: outputs are the model's to say.
     */
    boolean set(int reference, double value) {
        boolean changed = reference >= firstInput && Double.compare(layout[reference], value) != 0;
        layout[reference] = value;
        setAtEvent[reference] = event;
        return changed;
    }

    /** What was set before belongs to the run from now on, what is set later perhaps to the next. */
    void markEvent() {
        event++;
    }

    /** Goes back to the start values, but for what was set since the last event. */
    void startAnew() {
        startOutputs();
        restoreStarts(firstInput, description.inputs());
        restoreStarts(firstParameter, description.parameters());
    }

    /** Gives the outputs their start values. */
    void startOutputs() {
        for (int i = 0; i < outputs.length; i++) {
            outputs[i] = description.outputs().get(i).start();
        }
    }

    double parameter(int index) {
        return layout[firstParameter + index];
    }

    /** A copy of the inputs. */
    double[] inputs() {
        return Arrays.copyOfRange(layout, firstInput, firstParameter);
    }

    /** The outputs themselves, for the model to write to. */
    double[] outputs() {
        return outputs;
    }

    /** All values in an array of this object's own. */
    double[] all() {
        System.arraycopy(outputs, 0, layout, 0, outputs.length);
        System.arraycopy(outputs, 0, layout, outputs.length, outputs.length);
        return layout;
    }

    private void restoreStarts(int first, List<Variable> variables) {
        for (int i = 0; i < variables.size(); i++) {
            if (setAtEvent[first + i] != event) {
                layout[first + i] = variables.get(i).start();
            }
        }
    }
}
