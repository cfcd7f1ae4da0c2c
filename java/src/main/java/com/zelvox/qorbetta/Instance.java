package com.zelvox.qorbetta;

import java.util.Arrays;

/**
 * The life of one instance: its model objects and the order of its calls.
 *
 * <p>In Initialization Mode an importer sets and reads values in any order, and what it reads is
 * what an initialization with the values of that moment gives. So the first read initializes a
 * model object. The initialization takes that object over, unless a value was set to another one
 * since; then a fresh object is made, as no object is set up or initialized twice.
 *
 * <p>The library tells Java nothing of a reset. It shows in the next {@link #setUp}, which
 * therefore always begins with values as a new run has them: those that were set since the last
 * event of the old run, and start values for the rest. Nothing changes by that before the first
 * read or initialization.
 *
 * <p>Every failure is an {@link IllegalStateException} whose message is the sentence for the
 * importer.
 */
final class Instance {
    private enum Phase { PREPARED, RUNNING, OVER }

    final String numberOfReals;
    final String numberOfInputs;
    final String numberOfOutputs;

    final String name;
    private final ModelSource source;
    private final ModelDescription description;
    private final Values values;

    private Model model;
    private boolean modelUsed; // it got a parameter and cannot begin another run
    private boolean begun;
    private Phase phase = Phase.PREPARED;
    // While PREPARED, of the values as they stand:
    private boolean tried; // an initialization was tried with them
    private boolean initialized; // and went well: `model` is in its state at the start time
    private double[] readUninitialized; // outputs that the importer holds of one that did not
    private boolean stepped;
    private double startTime = 0;
    private double stopTime = Double.NaN;
    private double nextTime;
    private IllegalStateException refusal; // what a set call could not say; null for nothing

    /** Begins an instance with a model object of its own, which so far describes itself only. */
    static Instance begin(String name, String resourceLocation) {
        ModelSource source;
        try {
            source = ModelSource.find(resourceLocation);
        } catch (Throwable e) {
            throw new IllegalStateException("instance '" + name + "': no model: " + Reason.of(e));
        }
        try {
            return new Instance(name, source);
        } catch (Throwable e) {
            source.release();
            throw e;
        }
    }

    private Instance(String name, ModelSource source) {
        this.name = name;
        this.source = source;
        model = newModel();
        description = describe();
        values = new Values(description);
        numberOfReals = Integer.toString(values.size());
        numberOfInputs = Integer.toString(description.inputs().size());
        numberOfOutputs = Integer.toString(description.outputs().size());
    }

    /** Whether the importer has set up an experiment, or gone on without one. */
    boolean hasBegun() {
        return begun;
    }

    /** Whether it was initialized, and neither has been terminated nor has failed since. */
    boolean isRunning() {
        return phase == Phase.RUNNING;
    }

    /** Notes the times of a run; the model hears of them when its initial values are asked for. */
    void setUp(double start, double stop) {
        begun = true;
        if (phase != Phase.PREPARED) {
            refusal = null; // of the old run; what the new one cannot take shows there
        }
        values.startAnew();
        stepped = false;
        phase = Phase.PREPARED;
        forgetTry();
        startTime = start;
        stopTime = stop;
    }

    void set(int reference, double value) {
        if (reference < 0 || reference >= values.size()) {
            refuse(failure("there is no value reference " + Integer.toUnsignedString(reference)
                    + ", expected one below " + values.size()));
            return;
        }
        boolean changed = values.set(reference, value);
        int parameter = values.parameterAt(reference);
        if (phase == Phase.PREPARED) {
            readUninitialized = null; // the importer reads again
            if (changed) {
                forgetTry();
            }
        } else if (phase == Phase.RUNNING && parameter >= 0) {
            try {
                handOver(parameter, value);
            } catch (IllegalStateException e) {
                refuse(e);
            }
        } // A model whose run is over gets no more calls; the value waits for the next run's model.
    }

    void initialize() {
        if (phase != Phase.PREPARED) {
            throw outOfOrder("initialized a second time, expected a reset and an experiment setup"
                    + " before");
        }
        begun = true;
        values.markEvent();
        throwRefusal();
        if (!initialized) {
            initializeModel();
        }
        if (readUninitialized != null && !Arrays.equals(readUninitialized, values.outputs())) {
            // It has no reason to read again before the first step, and would go on with these.
            throw failure("the model can be initialized at time " + startTime + " only now, after"
                    + " the importer has read its outputs; expected a reset, or a value to be set");
        }
        phase = Phase.RUNNING;
        nextTime = startTime;
    }

    void step(double time, double stepSize, double[] inputs) {
        if (phase != Phase.RUNNING) {
            throw outOfOrder("step at time " + time + (phase == Phase.OVER
                    ? " after the end of the run, expected a reset before"
                    : " before the initialization, expected the initialization first"));
        }
        if (!(stepSize > 0 && stepSize < Double.POSITIVE_INFINITY)) {
            throw failure("step size " + stepSize + " at time " + time
                    + ", expected a finite one above 0");
        }
        if (!continues(time, stepSize)) {
            throw outOfOrder("step at time " + time + ", expected one at time " + nextTime
                    + (stepped ? ", where the last step ended" : ", where the run starts"));
        }
        if (inputs.length != description.inputs().size()) {
            throw failure("step at time " + time + " with " + inputs.length + " inputs, expected "
                    + description.inputs().size() + ": " + description.inputs());
        }
        values.markEvent();
        phase = Phase.OVER; // unless this step succeeds
        throwRefusal();
        try {
            model.step(time, stepSize, inputs, values.outputs());
        } catch (Throwable e) {
            throw failure("the model cannot step from time " + time + " by " + stepSize + ": "
                    + Reason.of(e));
        }
        phase = Phase.RUNNING;
        stepped = true;
        nextTime = time + stepSize;
    }

    /**
     * What the importer's values are to become: all of them until the first step has been made, so
     * that start values reach it, and the outputs from then on. The arrays are this object's own.
     * Before the initialization the outputs are those that it would give now; start values where it
     * would fail, since the importer may still be about to set what is missing.
     */
    double[] data() {
        if (phase == Phase.PREPARED) {
            begun = true;
            values.markEvent(); // a set-up that follows can only follow a reset
            if (!tried) {
                try {
                    initializeModel();
                } catch (IllegalStateException e) {
                    // The initialization tries again and tells what is wrong then.
                }
            }
            readUninitialized = initialized ? null : values.outputs().clone();
        }
        return stepped ? values.outputs() : values.all();
    }

    void terminate() {
        if (phase == Phase.RUNNING) {
            values.markEvent();
            phase = Phase.OVER;
            try {
                model.terminate();
            } catch (Throwable e) {
                complain("the model cannot be terminated at time " + nextTime, e);
            }
        }
    }

    void free() {
        freeModel();
        source.release();
    }

    private Model newModel() {
        try {
            return source.newModel();
        } catch (Throwable e) {
            throw failure("the model cannot be constructed: " + Reason.of(e));
        }
    }

    private ModelDescription describe() {
        try {
            ModelDescription answer = model.describe();
            if (answer == null) {
                throw new IllegalStateException("it answers null, expected a description");
            }
            return answer;
        } catch (Throwable e) {
            freeModel();
            throw failure("the model cannot be described: " + Reason.of(e));
        }
    }

    /** Brings a model object that is not used yet to its state at the start time. */
    private void initializeModel() {
        tried = true;
        if (modelUsed) {
            Model fresh = newModel();
            freeModel();
            model = fresh;
        }
        modelUsed = true;
        values.startOutputs();
        for (int i = 0; i < description.parameters().size(); i++) {
            handOver(i, values.parameter(i));
        }
        try {
            model.setUp(startTime, stopTime);
        } catch (Throwable e) {
            throw failure("the model cannot be set up at time " + startTime + ": " + Reason.of(e));
        }
        try {
            model.initialize(values.inputs(), values.outputs());
        } catch (Throwable e) {
            values.startOutputs();
            throw failure("the model cannot be initialized at time " + startTime + ": "
                    + Reason.of(e));
        }
        initialized = true;
    }

    /** The values are others now, so that an initialization may end otherwise. */
    private void forgetTry() {
        tried = false;
        initialized = false;
        readUninitialized = null;
    }

    /** Whether a step begins where the last one ended, but for rounding. */
    private boolean continues(double time, double stepSize) {
        double gap = Math.abs(time - nextTime);
        return gap <= 1e-6 * stepSize
                || gap <= 4 * Math.ulp(Math.min(Math.abs(time), Math.abs(nextTime)));
    }

    private void handOver(int parameter, double value) {
        Variable variable = description.parameters().get(parameter);
        if (!(value >= variable.min() && value <= variable.max())) {
            throw failure("parameter " + variable + " cannot be " + value
                    + ", expected " + variable.min() + " to " + variable.max());
        }
        try {
            model.set(parameter, value);
        } catch (Throwable e) {
            throw failure("parameter " + variable + " cannot be " + value + ": " + Reason.of(e));
        }
    }

    /** Keeps a failure until there is a call that can fail with it; the first one tells the most. */
    private void refuse(IllegalStateException failure) {
        if (refusal == null) {
            refusal = failure;
        }
    }

    private void throwRefusal() {
        IllegalStateException kept = refusal;
        refusal = null;
        if (kept != null) {
            throw kept;
        }
    }

    private void freeModel() {
        try {
            model.free();
        } catch (Throwable e) {
            complain("the model cannot be freed", e);
        }
    }

    /** Tells in one line what no call has a way to tell the importer. */
    private void complain(String sentence, Throwable e) {
        String reason = Reason.of(e).replaceAll("\\s+", " ");
        System.err.println("zelvox: instance '" + name + "': " + sentence + ": " + reason);
    }

    /**
     * A call at the wrong moment. Either the importer makes a mistake, or two importers call one
     * instance, since each gave its own the same name.
     */
    private IllegalStateException outOfOrder(String sentence) {
        return failure(sentence + " (do two instances share this name?)");
    }

    private IllegalStateException failure(String sentence) {
        return new IllegalStateException("instance '" + name + "': " + sentence);
    }
}
